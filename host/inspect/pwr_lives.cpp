#include "host/inspect/pwr_lives.h"

#include <algorithm>

#include "host/inspect/pwr_fields.h"
#include "pwr/bin/pwr_records.h"

namespace host::inspect {

namespace {

// The records of one kind, as they stand.
struct Head {
    std::vector<PwrRecord> processes;
    std::vector<PwrRecord> threads;
};

// Reads up to the second Magic record, or to damage.
Head readHead(std::string_view file) {
    Head head;
    ByteReader bytes(file);
    std::string fault;
    int magics = 0;
    while (!bytes.atEnd() && magics < 2) {
        const auto record = nextPwrRecord(bytes, fault);
        if (!record) break;
        if (record->kind == PwrKind::Magic) ++magics;
        if (record->kind == PwrKind::Process) head.processes.push_back(*record);
        if (record->kind == PwrKind::Thread) head.threads.push_back(*record);
    }
    return head;
}

// The last that has begun by then, or the first.
template <typename Life>
const Life* lifeAt(const std::map<std::uint32_t, std::vector<Life>>& lives, std::uint32_t id,
                   std::uint64_t tsc) {
    const auto found = lives.find(id);
    if (found == lives.end()) return nullptr;
    const auto after =
        std::upper_bound(found->second.begin(), found->second.end(), tsc,
                         [](std::uint64_t time, const Life& life) { return time < life.start; });
    return after == found->second.begin() ? &found->second.front() : &*(after - 1);
}

template <typename Life>
void sortByStart(std::map<std::uint32_t, std::vector<Life>>& lives) {
    for (auto& [id, list] : lives)
        std::stable_sort(list.begin(), list.end(),
                         [](const Life& one, const Life& other) { return one.start < other.start; });
}

}  // namespace

PwrLives::PwrLives(std::string_view file) {
    const Head head = readHead(file);
    // Every process has two records, and all starts stand in front of all ends.
    const std::size_t starts = (head.processes.size() + 1) / 2;
    for (std::size_t i = 0; i < head.processes.size(); ++i) {
        if (i >= starts) {
            m_ends.insert(head.processes[i].offset);
            continue;
        }
        const PwrProcess process = readProcess(head.processes[i]);
        m_processes[process.pid].push_back({process.time, std::string(process.path)});
    }
    for (const PwrRecord& record : head.threads) {
        const PwrThread thread = readThread(record);
        if (thread.mark == vyrta::MARK_START) m_threads[thread.tid].push_back({thread.time, thread.pid});
    }
    sortByStart(m_processes);
    sortByStart(m_threads);
}

const std::string* PwrLives::processAt(std::uint32_t pid, std::uint64_t tsc) const {
    const Process* const life = lifeAt(m_processes, pid, tsc);
    return life != nullptr ? &life->path : nullptr;
}

const std::string* PwrLives::threadAt(std::uint32_t tid, std::uint64_t tsc) const {
    const Thread* const life = lifeAt(m_threads, tid, tsc);
    return life != nullptr ? processAt(life->pid, life->start) : nullptr;
}

}  // namespace host::inspect
