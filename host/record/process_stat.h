// The list of processes, and what the kernel says of each in one line.
#pragma once

#include <dirent.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

#include "host/record/sample_file.h"

namespace host::record {

// proc/PID/stat.
struct ProcessStat {
    std::string_view name;  // points into the text
    std::uint64_t parent = 0;
    std::uint64_t jiffies = 0;  // of CPU time, the kernel's clock ticks
    std::uint64_t start = 0;    // in these ticks since boot

    // False if the text is no such line.
    bool parse(std::string_view text);
};

// proc, open for reading again and again.
class ProcessFolder {
public:
    // False when the machine shows no processes.
    bool open(const Root& root);

    // Calls `act(pid, inode)` for every process, and opens the folder if need be. The inode is another one
    // when the pid is used again, as a rule.
    void each(const Root& root, const std::function<void(std::uint64_t, std::uint64_t)>& act);

private:
    struct Closer {
        void operator()(DIR* folder) const { closedir(folder); }
    };
    std::unique_ptr<DIR, Closer> m_folder;
};

}  // namespace host::record
