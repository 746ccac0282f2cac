#include "host/kernel_events/activities.h"

#include <algorithm>
#include <string>

#include "host/kernel_events/table_text.h"

namespace host::kernel_events {

namespace {

std::string meanText(std::uint64_t ticks, std::uint64_t count) {
    return base::fixedText(static_cast<double>(ticks) / 1e6 / static_cast<double>(count), 3);
}

}  // namespace

void Activities::take(const Event& event) {
    const bool isSource = event.kind != Kind::SuspendResume;
    const bool isBegin = isSource ? event.kind == Kind::SourceActivate : event.b != 0;
    const Key key{event.name, isSource ? 0 : event.a};
    const auto [known, isNew] = (isSource ? m_sources : m_steps).try_emplace(key);
    Activity& activity = known->second;
    if (isNew)
        activity.row = isSource ? m_timeline.named(Series::WakeupSource, event.name)
                                : m_timeline.action(event.name, event.a);
    end_i(activity, event.stamp);
    if (!isBegin) return m_timeline.leave(activity.row, event.stamp);
    activity.since = event.stamp;
    ++activity.count;
    const NameId text = isSource ? m_names.get("active") : event.name;
    m_timeline.enter(activity.row, event.stamp, m_names.value(text));
}

void Activities::end_i(Activity& activity, std::uint64_t stamp) {
    if (!activity.since) return;
    const std::uint64_t length = stamp - *activity.since;
    activity.time += length;
    activity.longest = std::max(activity.longest, length);
    activity.since.reset();
}

void Activities::finish(std::uint64_t stop) {
    for (Known* const activities : {&m_sources, &m_steps})
        for (auto& known : *activities) end_i(known.second, stop);
}

std::vector<const Activities::Known::value_type*> Activities::byTime_i(const Known& activities) {
    std::vector<const Known::value_type*> rows;
    for (const auto& known : activities)
        if (known.second.count > 0) rows.push_back(&known);
    std::stable_sort(rows.begin(), rows.end(), [](const auto* one, const auto* other) {
        return one->second.time > other->second.time;
    });
    return rows;
}

void Activities::report(emit::Report& report) const {
    reportSources_i(report);
    reportSteps_i(report);
}

void Activities::reportSources_i(emit::Report& report) const {
    const auto rows = byTime_i(m_sources);
    if (rows.empty()) return;
    report.section({m_timeline.metric(Series::WakeupSource), "wakeup", "Kernel Wakeup Sources", ""});
    report.table("Kernel Wakeup Sources Summary: Activations and Active Time",
                 {"Source", "Activations", "Active Time (msec)", "Average (msec)"});
    for (const auto* row : rows) {
        const Activity& source = row->second;
        report.row({m_names.text(row->first.first), std::to_string(source.count), msecText(source.time, 3),
                    meanText(source.time, source.count)});
    }
}

void Activities::reportSteps_i(emit::Report& report) const {
    const auto rows = byTime_i(m_steps);
    if (rows.empty()) return;
    report.section({m_timeline.metric(Series::Suspend), "suspend", "Suspend", ""});
    report.table("Suspend Summary: Counts",
                 {"Action", "Value", "Count", "Time (msec)", "Mean (msec)", "Longest (msec)"});
    for (const auto* row : rows) {
        const Activity& step = row->second;
        report.row({m_names.text(row->first.first), std::to_string(row->first.second),
                    std::to_string(step.count), msecText(step.time, 3), meanText(step.time, step.count),
                    msecText(step.longest, 3)});
    }
}

}  // namespace host::kernel_events
