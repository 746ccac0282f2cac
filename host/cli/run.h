#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/cli/plugin_library.h"
#include "host/model/environment.h"
#include "host/model/loggers.h"
#include "host/stream/delivery.h"
#include "host/stream/stream_reader.h"

namespace host::cli {

// Exit statuses of the program.
enum ExitStatus : int {
    EXIT_GOOD = 0,
    EXIT_ERROR = 1,   // usage, input or output error, bad stream
    EXIT_FAILED = 2,  // the run was completed, but something that a writer was asked for failed
};

// What replay and record have in common.
struct RunOptions {
    std::string m_writers = "sum";  // option names with commas between, or "all", or "none"
    std::string m_output = "run";
    bool m_isContinuous = false;
    std::string m_plugins;  // empty: the library beside the program
    std::string m_order;    // file with an output configuration; empty: none
    std::int32_t m_logLevel = 1;
    std::vector<std::string> m_logTags;
    std::string m_log;       // empty: standard error
    std::string m_statuses;  // empty: none
};

// Writes a line of the program's own to standard error. Needs no memory.
void complain(std::string_view text);

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
    bool openStatuses_i(const std::string& path);
    void writeStatus_i(const stream::StatusRecord& record);
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
    std::unique_ptr<PluginLibrary> m_library;
    stream::Delivery m_delivery;
    std::unique_ptr<stream::StreamReader> m_reader;
    std::FILE* m_statuses = nullptr;
};

}  // namespace host::cli
