// Processes and threads: a start record at first sight, an end record at the end of the run.
#include <algorithm>
#include <queue>
#include <tuple>

#include "import/vyrta_log.h"
#include "import/vyrtawriter_plugin.h"
#include "plugins/packing.h"

using namespace vyrta;

namespace {

// What was seen in this process, with the last record written of each. The pointers are the host's, and hold
// until the end of the run.
std::map<std::string, std::pair<const pwr::Process*, VyrtaProcess>> m_processes;
std::map<std::string, std::pair<const pwr::Thread*, VyrtaThread>> m_threads;

std::string keyOf(const pwr::Process& process) {
    return "process_" + process.getPath() + "_" + std::to_string(process.getPid()) + "_" +
           std::to_string(process.getStartTime());
}

std::string keyOf(const pwr::Thread& thread) {
    return "thread_" + std::to_string(thread.getTid()) + "_" + std::to_string(thread.getPid()) + "_" +
           std::to_string(thread.getStartTime());
}

// A process instance whose end record is written; of several that fit a thread the first rank counts.
struct Life {
    std::int32_t pid;
    std::uint64_t start;
    std::uint64_t end;
    std::size_t rank;

    friend bool operator<(const Life& one, const Life& other) { return one.rank > other.rank; }
};

std::vector<Life> livesByStart() {
    std::vector<Life> lives;
    for (const auto& [key, entry] : m_processes) {
        const auto& [process, record] = entry;
        lives.push_back({process->getPid(), process->getStartTime(), record.tsc, lives.size()});
    }
    std::sort(lives.begin(), lives.end(), [](const Life& one, const Life& other) {
        return std::tie(one.pid, one.start) < std::tie(other.pid, other.start);
    });
    return lives;
}

std::vector<const pwr::Thread*> threadsByStart() {
    std::vector<const pwr::Thread*> threads;
    threads.reserve(m_threads.size());
    for (const auto& [key, entry] : m_threads) threads.push_back(entry.first);
    std::sort(threads.begin(), threads.end(), [](const pwr::Thread* one, const pwr::Thread* other) {
        return std::pair(one->getPid(), one->getStartTime()) <
               std::pair(other->getPid(), other->getStartTime());
    });
    return threads;
}

using EndByThread = std::unordered_map<const pwr::Thread*, std::uint64_t>;

// The ends of the processes that the threads ran in. A pid can have been used again, so the times decide.
// Both are gone through by start, with those processes at hand that have begun and may still be running.
EndByThread processEndsByThread() {
    EndByThread ends;
    const std::vector<Life> lives = livesByStart();
    std::priority_queue<Life> running;
    auto next = lives.begin();
    for (const pwr::Thread* thread : threadsByStart()) {
        const std::int32_t pid = thread->getPid();
        const std::uint64_t start = thread->getStartTime();
        for (; next != lives.end() && std::tie(next->pid, next->start) < std::tie(pid, start); ++next)
            running.push(*next);
        while (!running.empty() && (running.top().pid != pid || running.top().end <= start)) running.pop();
        if (!running.empty()) ends[thread] = running.top().end;
    }
    return ends;
}

// The collection's end as the system message told it.
std::uint64_t stopTsc(const VyrtaCollectionInfo* info) {
    return info != nullptr ? info->stopTsc : 0;
}

// The end of a thread whose end is unknown: that of the process instance which it ran in, or else of the
// collection.
std::uint64_t threadEnd(const EndByThread& processEnds, const pwr::Thread* thread, std::uint64_t stop) {
    const auto known = processEnds.find(thread);
    return known != processEnds.end() ? known->second : stop;
}

int writeProcessEnds(VyrtaWriter& writer) {
    for (const auto& [key, entry] : m_processes) {
        VYRTA_DEBUG("Re-handling process to update endtsc: %s\n", key.c_str());
        if (writer.handleProcessInfo(entry.first, false) != 0)
            return VYRTA_FAIL("Unable to re-handle process.\n");
    }
    return 0;
}

int writeThreadEnds(VyrtaWriter& writer) {
    for (const auto& [key, entry] : m_threads) {
        VYRTA_DEBUG("Re-handling thread to update endtsc: %s\n", key.c_str());
        if (writer.handleThreadInfo(entry.first, false) != 0)
            return VYRTA_FAIL("Unable to re-handle thread.\n");
    }
    return 0;
}

// Cuts a path to what its field holds, without splitting a UTF-8 character.
std::string shortened(const std::string& path) {
    std::size_t length = MAXIMUM_PATH_SIZE - 1;
    if (path.size() <= length) return path;
    while (length > 0 && (static_cast<unsigned char>(path[length]) & 0xC0) == 0x80) --length;
    return path.substr(0, length);
}

}  // namespace

int VyrtaWriter::handleProcessInfo(const pwr::Process* process, bool firstSight) {
    const std::string key = keyOf(*process);
    const std::string& path = process->getPath();
    const std::uint64_t start = process->getStartTime();
    const std::uint64_t end = process->getEndTime();
    VYRTA_DEBUG("Processing process info for '%s'. path: %s, pid: %d, parent pid: %d, start: %lu, end: %lu\n",
                key.c_str(), path.c_str(), process->getPid(), process->getParentPid(), start, end);

    VyrtaProcess record{static_cast<std::uint32_t>(process->getPid()), start, shortened(path)};
    const auto known = m_processes.find(key);
    if (known != m_processes.end()) {
        VYRTA_DEBUG(
            "Process %s already processed. May just need updating. Current start time: %lu. Current end "
            "time: %lu. Saved time: %lu. \n",
            key.c_str(), start, end, known->second.second.tsc);
        if (firstSight) return 0;
        record.tsc = end != 0 ? end : stopTsc(m_info.get());
    }
    VYRTA_DEBUG("Writing record for process: %s with TSC: %lu\n", key.c_str(), record.tsc);
    if (writeProcessSample(record) != 0) return VYRTA_FAIL("Unable to write process record.\n");
    VYRTA_DEBUG("Buffering process info for '%s'. path: %s, pid: %d, parent pid: %d, start: %lu, end: %lu\n",
                key.c_str(), path.c_str(), process->getPid(), process->getParentPid(), start, end);
    m_processes[key] = {process, std::move(record)};
    return 0;
}

int VyrtaWriter::handleThreadInfo(const pwr::Thread* thread, bool firstSight) {
    const std::string key = keyOf(*thread);
    const std::uint64_t start = thread->getStartTime();
    const std::uint64_t end = thread->getEndTime();
    VYRTA_DEBUG("Processing thread info for '%s'. tid: %d, pid: %d, start: %lu, end: %lu\n", key.c_str(),
                thread->getTid(), thread->getPid(), start, end);

    VyrtaThread record{MARK_START, static_cast<std::uint32_t>(thread->getPid()),
                       static_cast<std::uint32_t>(thread->getTid()), start};
    const auto known = m_threads.find(key);
    if (known != m_threads.end()) {
        VYRTA_DEBUG(
            "Thread %s already processed. May just need updating. Current start time: %lu. Current end time: "
            "%lu. Saved time: %lu. \n",
            key.c_str(), start, end, known->second.second.tsc);
        if (firstSight) return 0;
        record.mark = MARK_THREAD_END;
        record.tsc = end != 0 ? end : threadEnd(m_threadEnds, thread, stopTsc(m_info.get()));
    }
    VYRTA_DEBUG("Writing record for thread: %s with TSC: %lu\n", key.c_str(), record.tsc);
    if (writeThreadSample(record) != 0) return VYRTA_FAIL("Unable to write process record.\n");
    VYRTA_DEBUG("Buffering thread info for '%s'. tid: %d, pid: %d, start: %lu, end: %lu\n", key.c_str(),
                thread->getTid(), thread->getPid(), start, end);
    m_threads[key] = {thread, record};
    return 0;
}

int VyrtaWriter::flushStoredStates() {
    int status = writeProcessEnds(*this);
    if (status == 0) {
        m_threadEnds = processEndsByThread();
        status = writeThreadEnds(*this);
    }
    forgetStoredStates();
    return status;
}

void VyrtaWriter::forgetStoredStates() {
    m_processes.clear();
    m_threads.clear();
}

int VyrtaWriter::writeProcessSample(const VyrtaProcess& process) {
    char record[PROCESS_LENGTH_AT + 2 + 2 + MAXIMUM_PATH_SIZE];
    const std::size_t size = PROCESS_LENGTH_AT + 2 + 2 + process.path.size() + 1;
    char* out = packing::put(record, HEAD_PROCESS);
    out = packing::put(out, MARK_START);
    out = packing::put<std::uint32_t>(out, 0);
    out = packing::put(out, process.pid);
    out = packing::put<std::uint32_t>(out, 0);
    out = packing::put(out, process.tsc);
    out = packing::put(out, static_cast<std::uint16_t>(size - PROCESS_LENGTH_AT));
    out = packing::put<std::uint16_t>(out, 0);
    packing::putBytes(out, process.path.c_str(), process.path.size() + 1);
    return writeRecord(m_systemStoreId, record, static_cast<unsigned int>(size));
}

int VyrtaWriter::writeThreadSample(const VyrtaThread& thread) {
    char record[THREAD_SIZE];
    char* out = packing::put(record, HEAD_THREAD);
    out = packing::put(out, thread.mark);
    out = packing::put<std::uint32_t>(out, 0);
    out = packing::put(out, thread.pid);
    out = packing::put(out, thread.tid);
    packing::put(out, thread.tsc);
    return writeRecord(m_systemStoreId, record, sizeof record);
}
