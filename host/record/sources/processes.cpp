// Processes that start and exit while the collection goes on.
#include <unistd.h>

#include <algorithm>
#include <map>

#include "host/base/text.h"
#include "host/emit/json_line.h"
#include "host/emit/metric_line.h"
#include "host/record/process_table.h"
#include "host/record/sources/sources.h"

namespace host::record {

namespace key = emit::key;
namespace message = emit::message;

namespace {

constexpr const char* NOTE =
    "Processes are looked for at every sample; one that starts and exits between two samples is not seen. "
    "One "
    "that executes another program is seen at the sample after its first or within a few more.";

class ProcessSource : public Source {
public:
    explicit ProcessSource(SourceContext& context)
        : m_context(context),
          m_line(context),
          m_table(context.root),
          m_loads(context.root, "proc/loadavg"),
          m_ticksPerJiffy(context.ticksPerUsec * 1e6 / static_cast<double>(sysconf(_SC_CLK_TCK))) {}

    bool prepare() override {
        if (!m_table.isReadable()) return false;
        haveTasksChanged_i();
        for (const ProcessInfo& info : m_table.update().started) m_running[info.pid] = 0;
        if (m_running.empty()) return false;

        emit::Definitions& define = m_context.define;
        m_processAttribute = define.attribute("Process", emit::AttributeType::Process);
        m_pidAttribute = define.attribute("PID", emit::AttributeType::Data);
        m_parentAttribute = define.attribute("Parent PID", emit::AttributeType::Data);
        m_startAttribute = define.attribute("Start (usec)", emit::AttributeType::Data, define.time());
        m_started = define.descriptor("Started");
        m_exited = define.descriptor("Exited");
        m_executed = define.descriptor("Executed");
        emit::MetricDefinition metric{.name = m_section.name, .group = m_section.feature};
        metric.type = emit::MetricType::TracedEvent;
        metric.quantity = define.quantity({emit::QuantityKind::Count, "Process Events", "events"});
        metric.legend = {m_started, m_exited, m_executed};
        metric.value = define.handle(
            "Change", {m_processAttribute, m_pidAttribute, m_parentAttribute, m_startAttribute});
        metric.state = define.handle("Event");
        metric.entity = define.handle("Program");
        m_section.metric = define.metric(metric);
        return true;
    }

    void baseline(std::uint64_t ticks) override { m_begin = ticks; }
    void restart(std::uint64_t ticks) override { sample(ticks); }

    void sample(std::uint64_t ticks) override {
        // Before the new ones are looked for, which have their turn at the next sample.
        for (const ProcessInfo& info : m_table.check()) execute_i(info, ticks);
        if (!haveTasksChanged_i()) return;
        const ProcessTable::Changes& changes = m_table.update();
        for (const ProcessInfo& info : changes.exited) exit_i(info, ticks);
        for (const ProcessInfo& info : changes.started) start_i(info, ticks);
    }

    // By program under a title that automation leaves out, as the programs are others in every run.
    void report(emit::Report& report) override {
        Program all;
        for (const auto& [name, program] : m_programs) {
            all.started += program.started;
            all.executed += program.executed;
            all.exited += program.exited;
        }
        report.section(m_section);
        report.table(m_section.name + " Summary: Total", {"Event", "Total"});
        report.row({"Started", std::to_string(all.started)});
        report.row({"Exited", std::to_string(all.exited)});
        report.row({"Executed", std::to_string(all.executed)});
        if (m_programs.empty()) return;
        report.table(m_section.name + " Summary: Counts", {"Program", "Started", "Executed", "Exited"});
        for (const auto& [name, program] : m_programs)
            report.row({name, std::to_string(program.started), std::to_string(program.executed),
                        std::to_string(program.exited)});
    }

private:
    struct Program {
        emit::Id entity = 0;
        std::uint64_t started = 0;
        std::uint64_t executed = 0;  // in place of another program
        std::uint64_t exited = 0;
    };

    // False when no process can have come or gone: the kernel counts forks, and the tasks that there are.
    bool haveTasksChanged_i() {
        std::uint64_t forks = 0;
        std::uint64_t tasks = 0;
        std::string_view text = m_loads.read(m_buffer);
        const std::size_t slash = text.find('/');
        text.remove_prefix(slash == std::string_view::npos ? text.size() : slash + 1);
        const bool isCounted = m_context.stat.forks(forks) && base::takeUnsigned(text, tasks);
        const bool changed = !isCounted || forks != m_forks || tasks != m_tasks;
        m_forks = forks;
        m_tasks = tasks;
        return changed;
    }

    std::uint64_t startTicks_i(const ProcessInfo& info) const {
        return m_context.bootTicks +
               static_cast<std::uint64_t>(static_cast<double>(info.start) * m_ticksPerJiffy);
    }

    emit::Id defineProcess_i(const ProcessInfo& info) {
        return m_context.define.process(info.pid, info.parent, info.path, startTicks_i(info));
    }

    void endProcess_i(emit::Id process, std::uint64_t ticks) {
        emit::JsonLine(key::MESSAGE, message::END)
            .member(key::ID, process)
            .member(key::TSC, ticks)
            .writeTo(m_context.output);
    }

    Program& program_i(const ProcessInfo& info) {
        Program& program = m_programs[info.program];
        if (program.entity == 0) program.entity = m_context.define.entity(info.program);
        return program;
    }

    void start_i(const ProcessInfo& info, std::uint64_t ticks) {
        const emit::Id process = defineProcess_i(info);
        Program& program = program_i(info);
        m_running[info.pid] = process;
        ++program.started;
        deliver_i(info, program.entity, process, m_started, "Started", nextTicks_i(ticks), 0);
    }

    // The process goes on as another one of the same pid.
    void execute_i(const ProcessInfo& info, std::uint64_t ticks) {
        emit::Id& process = m_running[info.pid];
        const std::uint64_t now = nextTicks_i(ticks);
        if (process != 0) endProcess_i(process, now);
        process = m_context.define.process(info.pid, info.parent, info.path, now);
        Program& program = program_i(info);
        ++program.executed;
        deliver_i(info, program.entity, process, m_executed, "Executed", now, 0);
    }

    void exit_i(const ProcessInfo& info, std::uint64_t ticks) {
        const auto entry = m_running.find(info.pid);
        emit::Id process = entry == m_running.end() ? 0 : entry->second;
        if (entry != m_running.end()) m_running.erase(entry);
        if (process == 0) process = defineProcess_i(info);
        Program& program = program_i(info);
        ++program.exited;
        const std::uint64_t now = nextTicks_i(ticks);
        const std::uint64_t lifetime = now - std::min(now, startTicks_i(info));
        endProcess_i(process, now);
        deliver_i(info, program.entity, process, m_exited, "Exited", now, lifetime);
    }

    // Events of one sample follow each other by a tick, as no two may share a time.
    std::uint64_t nextTicks_i(std::uint64_t ticks) { return m_last = std::max(m_last + 1, ticks); }

    void deliver_i(const ProcessInfo& info, emit::Id entity, emit::Id process, emit::Id event,
                   const char* name, std::uint64_t ticks, std::uint64_t lifetime) {
        // Negative for processes that were there before the collection.
        const double age = static_cast<double>(startTicks_i(info)) - static_cast<double>(m_begin);
        const std::string start = std::to_string(static_cast<std::int64_t>(age / m_context.ticksPerUsec));
        const emit::Id state = m_context.define.descriptor(
            name, {{m_processAttribute, "{\"h\":" + std::to_string(process) + "}"},
                   {m_pidAttribute, "{\"u\":" + std::to_string(info.pid) + "}"},
                   {m_parentAttribute, "{\"u\":" + std::to_string(info.parent) + "}"},
                   {m_startAttribute, "{\"i\":" + start + "}"}});
        m_line.begin(m_section.metric, ticks);
        m_line.handle(emit::elementHead(entity, event), lifetime, state);
        m_line.end();
    }

    SourceContext& m_context;
    emit::Section m_section{0, "process", "Process Events", NOTE};
    emit::MetricLine m_line;
    ProcessTable m_table;
    SampleFile m_loads;
    std::vector<char> m_buffer;
    double m_ticksPerJiffy;
    std::uint64_t m_begin = 0;
    std::uint64_t m_last = 0;  // ticks of the last event
    std::uint64_t m_forks = 0;
    std::uint64_t m_tasks = 0;
    std::map<std::uint64_t, emit::Id> m_running;  // by pid: its process in the stream, 0 if it has none yet
    std::map<std::string, Program> m_programs;
    emit::Id m_processAttribute = 0;
    emit::Id m_pidAttribute = 0;
    emit::Id m_parentAttribute = 0;
    emit::Id m_startAttribute = 0;
    emit::Id m_started = 0;
    emit::Id m_exited = 0;
    emit::Id m_executed = 0;
};

}  // namespace

SourcePtr makeProcessSource(SourceContext& context) {
    return std::make_unique<ProcessSource>(context);
}

}  // namespace host::record
