// CPU time of the processes that used most of it.
#include <unistd.h>

#include <algorithm>
#include <map>
#include <utility>

#include "host/emit/top_metric.h"
#include "host/record/process_stat.h"
#include "host/record/sources/sources.h"

namespace host::record {

namespace {

class ProcessTimeSource : public Source {
public:
    explicit ProcessTimeSource(SourceContext& context)
        : m_context(context),
          m_metric(context, {.section = {0, "process", "Process CPU Time", ""},
                             .quantity = {emit::QuantityKind::Time, "Process CPU Time", "msec"},
                             .rate = {emit::QuantityKind::Share, "Process CPU Share", "%"},
                             .rateFactor = 0.1,
                             .of = "Process",
                             .top = context.top}),
          m_msecPerJiffy(1000 / static_cast<std::uint64_t>(sysconf(_SC_CLK_TCK))) {}

    bool prepare() override {
        each_i([](Process&, std::uint64_t) {});
        const auto isKnown = [](const auto& entry) { return entry.second.isKnown; };
        if (std::none_of(m_processes.begin(), m_processes.end(), isKnown)) return false;
        m_metric.define({});
        if (!m_metric.isWanted()) return true;
        m_descriptor = m_context.define.descriptor("CPU Time");
        m_metric.other(m_context.define.entity("other"), m_descriptor);
        return true;
    }

    void baseline(std::uint64_t ticks) override {
        m_metric.baseline(ticks);
        each_i([](Process&, std::uint64_t) {});
    }

    void sample(std::uint64_t ticks) override {
        m_metric.begin(ticks);
        each_i([&](Process& process, std::uint64_t rise) { m_metric.take(process.item, rise); });
        m_metric.end([&](emit::TopMetric::Item& item) {
            item.head = emit::elementHead(m_context.define.entity(item.name), m_descriptor);
        });
    }

    void report(emit::Report& report) override { m_metric.report(report); }

private:
    struct Process {
        SampleFile stat;
        bool isKnown = false;  // that it could be read once
        std::uint64_t start = 0;
        std::uint64_t jiffies = 0;  // as last read
        std::string name;
        emit::TopMetric::Item item{};
        std::uint64_t seen = 0;  // the reading of all in which it was there
    };

    // Reads all processes. One that is new since the last call has used its time since then; one that was
    // there but could not be read counts from when it can be.
    void each_i(auto withRise) {
        ++m_reading;
        m_folder.each(m_context.root, [&](std::uint64_t pid, std::uint64_t) {
            Process& process = m_processes[pid];
            const bool wasThere = std::exchange(process.seen, m_reading) != 0;
            ProcessStat stat;
            if (!read_i(pid, process, stat)) return;
            const bool isSame = process.isKnown && process.start == stat.start;
            const bool isLate = wasThere && !process.isKnown;
            const std::uint64_t before = isLate ? stat.jiffies : isSame ? process.jiffies : 0;
            const std::uint64_t rise = stat.jiffies > before ? stat.jiffies - before : 0;
            process.isKnown = true;
            process.start = stat.start;
            process.jiffies = stat.jiffies;
            if (!isSame || process.name != stat.name) rename_i(process, pid, stat.name);
            withRise(process, rise * m_msecPerJiffy);
        });
        std::erase_if(m_processes, [&](const auto& entry) { return entry.second.seen != m_reading; });
    }

    // The file of a process that has exited stays so, even when its pid is used again.
    bool read_i(std::uint64_t pid, Process& process, ProcessStat& stat) {
        if (process.stat.isOpen() && stat.parse(process.stat.read(m_buffer))) return true;
        process.stat = SampleFile(m_context.root, "proc/" + std::to_string(pid) + "/stat");
        return process.stat.isOpen() && stat.parse(process.stat.read(m_buffer));
    }

    static void rename_i(Process& process, std::uint64_t pid, std::string_view name) {
        process.name = name;
        process.item = {process.name + " (" + std::to_string(pid) + ")", {}};
    }

    SourceContext& m_context;
    emit::TopMetric m_metric;
    const std::uint64_t m_msecPerJiffy;
    emit::Id m_descriptor = 0;
    ProcessFolder m_folder;
    std::map<std::uint64_t, Process> m_processes;
    std::uint64_t m_reading = 0;
    std::vector<char> m_buffer;
};

}  // namespace

SourcePtr makeProcessTimeSource(SourceContext& context) {
    return std::make_unique<ProcessTimeSource>(context);
}

}  // namespace host::record
