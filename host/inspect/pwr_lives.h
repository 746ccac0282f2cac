#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/inspect/pwr_record.h"

namespace host::inspect {

// The processes and threads of a .pwr file with their lifetimes: a pid or tid can have been used again, and
// names what had it at the time.
class PwrLives {
public:
    // Reads the head of the file, in which each of them has a start record and, after all of these, an end
    // record.
    explicit PwrLives(std::string_view file);

    // The path of the process with that pid at that time, or of the process of that thread; null if there is
    // none. Before all of them it is the first.
    const std::string* processAt(std::uint32_t pid, std::uint64_t tsc) const;
    const std::string* threadAt(std::uint32_t tid, std::uint64_t tsc) const;

    // True for the process record at that offset if it reports an end: the record itself does not say.
    bool isEnd(std::uint64_t offset) const { return m_ends.contains(offset); }

private:
    struct Process {
        std::uint64_t start;
        std::string path;
    };
    struct Thread {
        std::uint64_t start;
        std::uint32_t pid;
    };

    std::map<std::uint32_t, std::vector<Process>> m_processes;  // by start
    std::map<std::uint32_t, std::vector<Thread>> m_threads;
    std::set<std::uint64_t> m_ends;
};

}  // namespace host::inspect
