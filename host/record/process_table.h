// The processes of the machine, and which of them are new or gone.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "host/record/process_stat.h"

namespace host::record {

struct ProcessInfo {
    std::uint64_t pid = 0;
    std::uint64_t parent = 0;
    std::uint64_t start = 0;  // in the kernel's clock ticks since boot
    std::string path;         // of its program, or its name when the path is not given
    std::string program;      // last part of the path; kernel threads of a kind share one
};

class ProcessTable {
public:
    explicit ProcessTable(const Root& root) : m_root(root) {}

    // False when the machine shows no processes.
    bool isReadable() { return m_folder.open(m_root); }

    // Looks for the changes since the last call, which took place at some time in between; the first call
    // finds all processes to be new. Only new processes are read. Both lists are in ascending order of pids,
    // and a process that started and exited between two calls is never seen.
    struct Changes {
        std::vector<ProcessInfo> started;
        std::vector<ProcessInfo> exited;
    };
    const Changes& update();

    // Looks again at what some of the processes execute, and returns those for which that is another program
    // than before: first those that are new since the last call, as they may have been caught between fork
    // and exec, then the others in turn. At most MOST_CHECKS of them, each for the price of a link.
    static constexpr std::size_t MOST_CHECKS = 32;
    const std::vector<ProcessInfo>& check();

private:
    struct Known {
        ProcessInfo info;
        std::uint64_t inode = 0;  // of its folder, which is another one when the pid is used again
        bool seen = false;        // in this scan
    };

    void see_i(std::uint64_t pid, std::uint64_t inode);
    bool read_i(std::uint64_t pid, ProcessInfo& info);
    void check_i(Known& known);

    const Root& m_root;
    ProcessFolder m_folder;
    std::map<std::uint64_t, Known> m_known;
    Changes m_changes;
    std::deque<std::uint64_t> m_young;   // pids that have not been looked at again
    std::uint64_t m_checked = 0;         // the pid that had its turn last
    std::vector<ProcessInfo> m_renamed;  // in the last check
    bool m_isFirst = true;               // no update yet
    std::vector<char> m_buffer;
};

}  // namespace host::record
