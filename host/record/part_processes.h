// Delivers the parts of a long recording, each in a process of its own: what writers keep, they keep per
// process.
#pragma once

#include <sys/types.h>

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "host/base/descriptor.h"
#include "host/emit/line_sink.h"
#include "host/record/part.h"

namespace host::record {

// Called in the process of a part, in this order.
struct Deliverer {
    std::function<bool(const std::string& suffix)> begin;  // the suffix of the part's output name
    emit::LineSink line;
    std::function<int()> end;                           // returns the exit status
    std::function<std::vector<std::string>()> results;  // paths of the files that were made, after the end
};

// "run.jsonl" with ".0001" in front of its extension.
std::string partName(const std::string& path, const std::string& suffix);

class PartProcesses {
public:
    // `save` keeps the streams, if it is not empty; `keep` parts stay, 0: all. Those that failed go before
    // those that are good.
    PartProcesses(Deliverer deliverer, std::string save, std::size_t keep, Warn warn);
    PartProcesses(const PartProcesses&) = delete;
    PartProcesses& operator=(const PartProcesses&) = delete;
    ~PartProcesses();

    // Delivers a part that has ended. Returns at once.
    void deliver(Part& part);

    // Starts the process of the next part, which takes its lines as they come, until `close`.
    emit::LineSink open();
    void close();

    // Takes note of parts that are complete; `wait`: of all. To be called now and then: a part begins its
    // files only when no more than those that stay, and itself, are on disk.
    void reap(bool wait = false);

    // 0, or the worst of what the parts ended with: 2 where something failed, 1 for an error.
    int status() const { return m_status; }

private:
    struct Running {
        pid_t process;
        std::string suffix;
        base::Descriptor report;  // where its files are named
        base::Descriptor go;      // a byte lets it begin; not open: it has begun
    };

    struct Ended {
        std::vector<std::string> files;
        bool hasFailed;
    };

    // `await` returns when the descriptor that it is given can be read; both are called in the new process.
    void start_i(const std::function<void(int)>& await,
                 const std::function<bool(const emit::LineSink&)>& feed);
    void letBegin_i();
    int work_i(const std::string& suffix, const std::function<bool(const emit::LineSink&)>& feed, int report);
    void complete_i(Running& part, int waitStatus);
    void removeOne_i();

    Deliverer m_deliverer;
    std::string m_save;
    std::size_t m_keep;
    Warn m_warn;
    unsigned m_number = 0;
    base::Descriptor m_lines;  // to the part that is open
    std::deque<Running> m_running;
    std::deque<Ended> m_ended;  // those with files
    int m_status = 0;
};

}  // namespace host::record
