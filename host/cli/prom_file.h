#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

#include "host/base/descriptor.h"

namespace host::cli {

// The state of a recording as a file for the textfile collector of a monitoring system: text format 0.0.4,
// families named as the writer "openmetrics" names them, the last value of each series, counters since the
// start. Processes of its own turn the recording's lines into it, with that writer: one for each part of the
// recording, as writers keep what they keep per process, and one that starts these.
class PromFile {
public:
    PromFile() = default;
    PromFile(const PromFile&) = delete;
    PromFile& operator=(const PromFile&) = delete;
    ~PromFile() { close(); }

    // Starts the process. `plugins` are the plug-in libraries, empty: those of this program. False after a
    // complaint, if `path` may not be written or the process can't be started.
    bool open(const std::string& path, const std::vector<std::string>& plugins);

    // Takes a line of the recording; with a flush the file is made anew. A further "system" message begins
    // another part, in which counters go on; it waits until the file of the one before is complete.
    bool line(std::string_view line);

    // Completes the file, which stays. False, after a complaint, if it could not be written once.
    bool close();

private:
    bool endPart_i();

    pid_t m_process = 0;
    base::Descriptor m_lines;
    base::Descriptor m_ends;  // of parts: a byte for each
    bool m_hasPart = false;
};

}  // namespace host::cli
