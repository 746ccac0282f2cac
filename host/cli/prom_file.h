#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "host/base/descriptor.h"

namespace host::cli {

// The state of a recording as a file for the textfile collector of a monitoring system: text format 0.0.4,
// families named as the writer "openmetrics" names them, the last value of each series, counters since the
// start. A process of its own turns the recording's lines into it, with that writer.
class PromFile {
public:
    PromFile() = default;
    PromFile(const PromFile&) = delete;
    PromFile& operator=(const PromFile&) = delete;
    ~PromFile() { close(); }

    // Starts the process. `plugins` are the plug-in libraries, empty: those of this program. False after a
    // complaint, if `path` may not be written or the process can't be started.
    bool open(const std::string& path, const std::vector<std::string>& plugins);

    // Takes a line of the recording; with a flush the file is made anew.
    bool line(std::string_view line);

    // Completes the file, which stays. False, after a complaint, if it could not be written once.
    bool close();

private:
    pid_t m_process = 0;
    base::Descriptor m_lines;
};

// Turns the writer's text into that of the file, over several of its results.
class PromText {
public:
    void take(std::string_view text);
    std::string text() const;

private:
    struct Family {
        std::string name;                           // of its samples
        std::string head;                           // lines TYPE and HELP
        std::vector<std::string> series;            // in order of first appearance
        std::map<std::string, std::string> values;  // by series
    };

    void takeType_i(std::string_view line);
    void takeHelp_i(std::string_view line);
    void takeSample_i(std::string_view line);

    std::vector<std::string> m_names;  // of the families, in order of first appearance
    std::map<std::string, Family> m_families;
    std::string m_current;  // name of the family whose lines are being taken
    bool m_isNew = false;
};

}  // namespace host::cli
