#include "host/record/trace/trace_source.h"

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "host/kernel_events/mapper.h"
#include "host/kernel_events/name_pool.h"
#include "host/kernel_events/tally.h"
#include "host/kernel_events/timeline.h"
#include "host/record/trace/idle_state_table.h"
#include "host/record/trace/kernel_trace.h"
#include "host/record/trace/mark_buffer.h"
#include "host/record/trace/package_energy.h"
#include "host/record/trace/trace_clock.h"

namespace host::record {

namespace {

using kernel_events::Event;
using kernel_events::Kind;

// An event may stand in its ring a little later than its stamp says.
constexpr std::uint64_t SETTLED = 10'000'000;  // ns

std::uint64_t rawNanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_RAW, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000 + static_cast<std::uint64_t>(now.tv_nsec);
}

class TraceSource : public Source {
public:
    TraceSource(SourceContext& context, const TraceOptions& options, std::function<std::uint64_t()> now)
        : m_context(context),
          m_options(options),
          m_now(std::move(now)),
          m_emitting(context),
          m_timeline(withChoice_i(m_emitting, options), m_names, surroundings_i()),
          m_mapper(m_timeline, m_names),
          m_trace(m_names, m_tally),
          m_marks(m_names, m_tally),
          m_energy(context.root) {}

    bool prepare() override {
        const std::vector<unsigned>& cpus = m_context.cpus.numbers();
        const bool hasEvents = !m_options.events().empty() && m_trace.open(m_options, cpus, m_context.warn);
        const bool hasMarks = m_options.has(MARKS) && m_marks.open(cpus, m_options.bufferKib, m_context.warn);
        if (!hasEvents && !hasMarks) return false;
        for (const unsigned cpu : cpus) {
            m_mapper.setIdleStates(cpu, readIdleStates(m_context.root, cpu));
            m_tally.expectCpus(cpu + 1);
        }
        if (m_trace.has("sched_waking")) m_mapper.expectWaking();
        return true;
    }

    void baseline(std::uint64_t ticks) override {
        readClocks_i();
        m_startTicks = ticks;
        if (m_isOn) return;
        m_isOn = true;
        m_start = rawNanoseconds();
        m_trace.limit(m_start, NEVER);
        m_trace.enable();
        takeEnergy_i();
    }

    void sample(std::uint64_t) override {
        takeEnergy_i();
        drain();
    }

    void drain() override {
        const std::uint64_t now = readClocks_i();
        collect_i();
        release_i(now - SETTLED);
    }

    // What was going on when the machine fell asleep is not known.
    void restart(std::uint64_t) override {
        const std::uint64_t now = readClocks_i();
        collect_i();
        release_i(now);
        for (const unsigned cpu : m_context.cpus.numbers()) {
            Event event;
            event.kind = Kind::Loss;
            event.stamp = now;
            event.cpu = cpu;
            m_mapper.take(event);
        }
        m_energy.take();
    }

    void finish(std::uint64_t ticks) override {
        m_trace.disable();
        readClocks_i();
        m_stopTicks = ticks;
        const std::uint64_t stop = std::max(m_clock.stamp(ticks), m_start);
        m_stop = stop;
        m_trace.limit(m_start, stop);
        collect_i();
        m_trace.drainLosses(stop, [this](const Event& event) { m_waiting.push_back(event); });
        std::erase_if(m_waiting, [stop](const Event& event) { return event.stamp > stop; });
        release_i(NEVER);
        if (m_trace.ownPid()) m_mapper.setRecorder(*m_trace.ownPid());
        m_mapper.finish(stop);
        m_trace.close();
        m_marks.close();
        warnOfLosses_i();
    }

    void report(emit::Report& report) override {
        auto container = static_cast<emit::Id>(m_context.define.metrics().size() + 1);
        m_mapper.report(report, container, m_start);
        m_tally.report(report, container);
    }

    int wakeDescriptor() const override { return m_trace.descriptor(); }

private:
    static constexpr std::uint64_t NEVER = std::numeric_limits<std::uint64_t>::max();

    static const emit::Context& withChoice_i(emit::Context& context, const TraceOptions& options) {
        if (options.isSummary) context.isWanted = [](const std::string&) { return false; };
        return context;
    }

    kernel_events::Surroundings surroundings_i() {
        kernel_events::Surroundings surroundings;
        surroundings.cpus = m_context.cpus.numbers();
        surroundings.cpuEntity = [this](std::uint32_t cpu) { return m_context.cpus.entity(cpu); };
        surroundings.system = m_context.system;
        surroundings.ticks = [this](std::uint64_t stamp) {
            return std::clamp(m_clock.ticks(stamp), m_startTicks, m_stopTicks);
        };
        return surroundings;
    }

    // Returns the stamp. Of a few readings of both clocks the one that took the least time counts.
    std::uint64_t readClocks_i() {
        std::uint64_t stamp = 0;
        std::uint64_t ticks = 0;
        std::uint64_t shortest = NEVER;
        for (int i = 0; i < 4; ++i) {
            const std::uint64_t before = m_now();
            const std::uint64_t now = rawNanoseconds();
            const std::uint64_t taken = m_now() - before;
            if (taken >= shortest) continue;
            shortest = taken;
            stamp = now;
            ticks = before + taken / 2;
        }
        m_clock.add(stamp, ticks);
        return stamp;
    }

    // Takes what is in the rings to what waits, which stays in order.
    void collect_i() {
        for (std::size_t ring = 0; ring < m_trace.rings(); ++ring) {
            const auto old = static_cast<std::ptrdiff_t>(m_waiting.size());
            m_trace.drain(ring, [this](const Event& event) { m_waiting.push_back(event); });
            merge_i(old);
        }
        const auto old = static_cast<std::ptrdiff_t>(m_waiting.size());
        m_marks.drain(m_start, m_stop, [this](const Event& event) { m_waiting.push_back(event); });
        merge_i(old);
    }

    // Puts what has come after the first `old` that wait in order with these.
    void merge_i(std::ptrdiff_t old) {
        const auto byStamp = [](const Event& one, const Event& other) { return one.stamp < other.stamp; };
        const auto begin = m_waiting.begin() + old;
        if (!std::is_sorted(begin, m_waiting.end(), byStamp))
            std::stable_sort(begin, m_waiting.end(), byStamp);
        std::inplace_merge(m_waiting.begin(), begin, m_waiting.end(), byStamp);
    }

    // Hands on what waits, up to a stamp.
    void release_i(std::uint64_t until) {
        std::size_t count = 0;
        for (Event& event : m_waiting) {
            if (event.stamp > until) break;
            ++count;
            if (event.stamp < m_released) {
                ++m_late;
                event.stamp = m_released;
            }
            m_released = event.stamp;
            event.place = m_place++;
            if (event.kind == Kind::Loss) {
                m_tally.lose(event.cpu, static_cast<std::uint64_t>(event.a));
                m_lost += static_cast<std::uint64_t>(event.a);
            } else if (event.kind != Kind::Energy) {
                m_tally.see(event.stamp, event.cpu);
            }
            m_mapper.take(event);
        }
        m_waiting.erase(m_waiting.begin(), m_waiting.begin() + static_cast<std::ptrdiff_t>(count));
    }

    void takeEnergy_i() {
        if (!m_energy.isMeasured()) return;
        Event event;
        event.kind = Kind::Energy;
        event.stamp = rawNanoseconds();
        event.a = static_cast<std::int64_t>(m_energy.take().value_or(0));
        m_waiting.push_back(event);  // nothing that waits has a later stamp
    }

    void warnOfLosses_i() const {
        if (const std::uint64_t lost = m_lost + m_marks.lost(); lost > 0)
            m_context.warn("trace: " + std::to_string(lost) +
                           " events were lost; a larger --trace-buffer holds more");
        if (m_late > 0)
            m_context.warn("trace: " + std::to_string(m_late) +
                           " events came late: they are taken at the time of the event before");
    }

    SourceContext& m_context;
    const TraceOptions& m_options;
    const std::function<std::uint64_t()> m_now;
    emit::Context m_emitting;
    TraceClock m_clock;
    std::uint64_t m_startTicks = 0;
    std::uint64_t m_stopTicks = NEVER;
    kernel_events::NamePool m_names;
    kernel_events::Tally m_tally;
    kernel_events::Timeline m_timeline;
    kernel_events::Mapper m_mapper;
    KernelTrace m_trace;
    MarkBuffer m_marks;
    PackageEnergy m_energy;
    bool m_isOn = false;
    std::uint64_t m_stop = NEVER;
    std::uint64_t m_start = 0;     // stamps
    std::uint64_t m_released = 0;  // of the last one that was handed on
    std::vector<Event> m_waiting;  // in order
    std::uint64_t m_place = 0;
    std::uint64_t m_lost = 0;
    std::uint64_t m_late = 0;
};

}  // namespace

SourcePtr makeTraceSource(SourceContext& context, const TraceOptions& options,
                          std::function<std::uint64_t()> now) {
    return std::make_unique<TraceSource>(context, options, std::move(now));
}

}  // namespace host::record
