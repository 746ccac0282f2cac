#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/model/environment.h"
#include "host/session/delivery.h"
#include "host/session/plugin_libraries.h"
#include "host/session/run_log.h"
#include "host/session/work_folder.h"
#include "host/stream/stream_reader.h"

namespace host::session {

// What replay and record have in common.
struct RunOptions {
    std::string m_writers = "sum";  // option names with commas between, or "all", or "none"
    std::string m_output = "run";   // ends in a slash: the name "run" in that folder; "-": standard output
    bool m_isContinuous = false;
    std::uint64_t m_start = 0;           // of the collection, ns since 1970; 0: as the stream says
    std::vector<std::string> m_labels;   // each KEY=VALUE
    std::vector<std::string> m_plugins;  // empty: the libraries beside the program
    std::string m_order;                 // file with an output configuration; empty: none
    std::int32_t m_logLevel = 1;
    std::vector<std::string> m_logTags;
    std::string m_log;       // empty: standard error
    std::string m_statuses;  // empty: none
    std::string m_temp;  // folder for the folder of temporary files; empty: TMPDIR, else beside the output
    bool m_isQuiet = false;      // no list of files at the end
    bool m_needsPlaces = false;  // refused if a result has no place that may be written
    bool m_isInParts = false;    // begun several times, each with a suffix
};

// One run from opening the plug-in library to giving it back. Between begin and end the process works in a
// folder of its own, so that the temporary files of two runs never meet; base::userFolder is where it was.
class Run {
public:
    Run();
    ~Run();

    // Checks the options and opens everything that they name. `isReady`, if given, is asked before a file is
    // emptied. Returns false after a complaint, of this or of `isReady`; no writer has been touched then.
    bool open(const RunOptions& options, const std::function<bool()>& isReady = {});

    // Starts the writers. Returns false after a complaint if there is no folder to work in. With a `suffix`,
    // which is put after the output name, this is one of several processes forked from the one that called
    // open, and works in a folder of its own.
    bool begin(const std::string& suffix = {});

    // Takes the stream's lines after begin.
    stream::StreamReader& reader() { return *m_reader; }

    // Adds a file to the list at the end: one that the caller has made, relative to the user's folder.
    void addFile(const std::string& path);

    // Ends the run in the ordinary way and says what failed, and then which files there are. Returns the exit
    // status.
    int end();

    // Paths of the results, after the end.
    std::vector<std::string> results() const;

private:
    bool selectWriters_i();
    bool readOrder_i(const std::string& path);
    bool checkPlaces_i();
    bool openLogs_i(const std::function<bool()>& isReady);
    bool makeWorkFolder_i();
    bool checkStandardOutput_i();
    void tellWhoCannotFlush_i() const;
    bool isRefused_i() const;
    void writeStatus_i(const StatusRecord& record);
    bool closeStatuses_i();
    bool hasAllFiles_i() const;
    bool isLogComplete_i() const;
    bool isWithoutFailure_i() const;
    bool printResult_i() const;
    void leaveWorkFolder_i();
    void listFiles_i() const;

    RunOptions m_options;
    std::unique_ptr<RunLog> m_log;
    std::unique_ptr<model::Environment> m_environment;
    std::unique_ptr<PluginLibraries> m_libraries;
    Delivery m_delivery;
    std::unique_ptr<stream::StreamReader> m_reader;
    std::FILE* m_statuses = nullptr;
    WorkFolder m_workFolder;
    std::string m_printedFile;          // of one that makes several files, the one for standard output
    bool m_isToStandardOutput = false;  // what the writer makes
};

}  // namespace host::session
