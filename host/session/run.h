#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/model/environment.h"
#include "host/model/loggers.h"
#include "host/session/delivery.h"
#include "host/session/plugin_libraries.h"
#include "host/session/standard_output.h"
#include "host/stream/stream_reader.h"

namespace host::session {

// What replay and record have in common.
struct RunOptions {
    std::string m_writers = "sum";  // option names with commas between, or "all", or "none"
    std::string m_output = "run";   // "-": standard output
    bool m_isContinuous = false;
    std::uint64_t m_start = 0;           // of the collection, ns since 1970; 0: as the stream says
    std::vector<std::string> m_labels;   // each KEY=VALUE
    std::vector<std::string> m_plugins;  // empty: the libraries beside the program
    std::string m_order;                 // file with an output configuration; empty: none
    std::int32_t m_logLevel = 1;
    std::vector<std::string> m_logTags;
    std::string m_log;       // empty: standard error
    std::string m_statuses;  // empty: none
};

// One run from opening the plug-in library to giving it back.
class Run {
public:
    Run();
    ~Run();

    // Checks the options and opens everything that they name. Returns false after a complaint; no writer has
    // been touched then.
    bool open(const RunOptions& options);

    // Starts the writers.
    void begin();

    // Takes the stream's lines after begin.
    stream::StreamReader& reader() { return *m_reader; }

    // Ends the run in the ordinary way and complains of what failed. Returns the exit status.
    int end();

private:
    bool openLog_i(const std::string& path);
    bool selectWriters_i(const std::string& list, std::string& error);
    bool readOrder_i(const std::string& path);
    bool openStandardOutput_i(std::string& error);
    bool isResultCopied_i();
    bool isRefused_i() const;
    bool openStatuses_i(const std::string& path);
    void writeStatus_i(const StatusRecord& record);
    bool closeStatuses_i();
    bool hasAllFiles_i() const;
    bool isLogComplete_i() const;
    bool needsOutputFolder_i() const;
    bool isWithoutFailure_i() const;

    RunOptions m_options;
    bool m_hasOutputFolder = true;
    int m_logDescriptor = -1;
    std::unique_ptr<model::DescriptorLogger> m_log;
    std::unique_ptr<model::Environment> m_environment;
    std::unique_ptr<PluginLibraries> m_libraries;
    Delivery m_delivery;
    std::optional<StandardOutput> m_standardOutput;  // if that is where the result goes
    std::unique_ptr<stream::StreamReader> m_reader;
    std::FILE* m_statuses = nullptr;
};

}  // namespace host::session
