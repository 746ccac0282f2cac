// The metrics over time that kernel events become.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/emit/context.h"
#include "host/emit/definitions.h"
#include "host/kernel_events/name_pool.h"

namespace host::kernel_events {

enum class Series : std::uint8_t {
    IdleState,
    Frequency,
    FrequencyLimits,
    Process,
    ClockRate,
    WakeupSource,
    Suspend,
    Marks,
    Counters,
    Thermal
};
constexpr std::size_t SERIES = 10;

// A recording that the timeline is part of, and that goes on.
struct Surroundings {
    std::vector<std::uint32_t> cpus;
    std::function<emit::Id(std::uint32_t)> cpuEntity;   // that the recording has already
    emit::Id system = 0;                                // the same
    std::function<std::uint64_t(std::uint64_t)> ticks;  // of a stamp, by the clock of the recording
};

// Writes samples as they end, of the metrics that the context wants. What they refer to is defined at first
// use; the metrics themselves, which name their entities, at the end. So definitions and samples go to
// outputs of their own, of which the first one must be delivered first. With surroundings, metrics are
// defined at first use, too, and name the entities that are known by then.
class Timeline {
public:
    // An entity's row of a metric.
    using Row = std::size_t;

    // The output of `context` takes the samples, the one of its definitions the definitions.
    Timeline(const emit::Context& context, const NamePool& names,
             std::optional<Surroundings> surroundings = std::nullopt);

    Row cpu(Series series, std::uint32_t number);
    Row named(Series series, NameId name);

    // The row of a thread's marks.
    Row thread(NameId comm, std::int64_t pid);

    // The row of an action while the system suspends or resumes.
    Row action(NameId name, std::int64_t value);

    // From `stamp` on, the row has this value, in the stream's own text. What it had before ends here.
    void enter(Row row, std::uint64_t stamp, std::string_view value);

    // From `stamp` on, it has none.
    void leave(Row row, std::uint64_t stamp);

    // It has none, and what it had since when is not known any more.
    void forget(Row row) { m_rows[row].isHeld = false; }
    bool isHeld(Row row) const { return m_rows[row].isHeld; }

    // A value at one point of time, or for a time that ends now. `info` are pairs of attributes.
    void sample(Row row, std::uint64_t stamp, std::uint64_t duration, std::string_view value,
                std::string_view info = {});

    // Says that a process or thread has ended.
    void endOf(emit::Id handle, std::uint64_t stamp);

    // Ends what has a value at the last stamp of the trace and defines the metrics.
    void finish(std::uint64_t stop);

    // The metric of a series; 0 if there is nothing to be reported of it. One that is not wanted has an id
    // that no other has.
    emit::Id metric(Series series) const { return m_metrics[static_cast<std::size_t>(series)].id; }
    bool wants(Series series) const { return m_metrics[static_cast<std::size_t>(series)].isWanted; }
    std::size_t metricCount() const { return m_used.size(); }

    emit::Definitions& define() { return m_context.define; }

private:
    struct Metric {
        emit::Id id = 0;
        bool isWanted = true;
        emit::Id descriptor = 0;
        std::vector<emit::Id> entities;
    };
    struct Line {
        Series series;
        std::string head;  // of its elements
        bool isHeld = false;
        std::uint64_t since = 0;
        std::string value;
    };

    Row add_i(Series series, auto makeEntity);
    void begin_i(Series series);
    emit::Id define_i(Series series);
    Row find_i(Series series, std::uint64_t key, auto makeEntity);
    emit::Id cpuEntity_i(std::uint32_t number);
    emit::Id systemEntity_i();

    const emit::Context& m_context;
    const NamePool& m_names;
    const std::optional<Surroundings> m_surroundings;
    Metric m_metrics[SERIES];
    std::vector<Series> m_used;  // by metric id, from 1 on
    std::vector<Line> m_rows;
    std::unordered_map<std::uint64_t, Row> m_keys[SERIES];
    std::vector<emit::Id> m_cpus;
    emit::Id m_system = 0;
    std::string m_text;  // of the sample that is written
};

}  // namespace host::kernel_events
