// The recorder itself: the CPU time that it takes, samples that came late, and sleep of the machine.
#include "host/emit/counter_metric.h"
#include "host/emit/transition_metric.h"
#include "host/record/sources/counters.h"
#include "host/record/sources/sources.h"

namespace host::record {

namespace {

class OwnSource : public Source {
public:
    explicit OwnSource(SourceContext& context)
        : m_context(context),
          m_time(context, counterSpec("recorder", "Recorder CPU Time", "usec", {"Component"})),
          m_late(context, counterSpec("recorder", "Late Samples", "samples", {"Component"})),
          m_suspend(context, {0, "recorder", "Suspend", ""}, "State", "Component") {}

    bool prepare() override {
        m_time.add(m_context.system, "CPU Time", {"System"});
        m_late.add(m_context.system, "Late Samples", {"System"});
        m_suspend.state("Suspended");
        m_suspend.add(m_context.system, "System");
        m_time.define();
        m_late.define();
        m_suspend.define();
        return true;
    }

    void baseline(std::uint64_t ticks) override {
        m_time.baseline(ticks);
        m_late.baseline(ticks);
        m_time.start(0, m_context.own.cpuUsec);
        m_late.start(0, m_context.own.lateSamples);
    }

    void sample(std::uint64_t ticks) override {
        m_time.begin(ticks);
        m_time.take(0, m_context.own.cpuUsec);
        m_time.end();
        m_late.begin(ticks);
        m_late.take(0, m_context.own.lateSamples);
        m_late.end();
    }

    void restart(std::uint64_t ticks) override {
        m_suspend.stay(0, ticks, "Suspended", m_context.own.suspendedTicks);
        baseline(ticks);
    }

    void report(emit::Report& report) override {
        m_time.report(report);
        m_late.report(report);
        m_suspend.report(report);
    }

private:
    SourceContext& m_context;
    emit::CounterMetric m_time;
    emit::CounterMetric m_late;
    emit::TransitionMetric m_suspend;
};

}  // namespace

SourcePtr makeOwnSource(SourceContext& context) {
    return std::make_unique<OwnSource>(context);
}

}  // namespace host::record
