#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/emit/context.h"
#include "host/emit/definitions.h"
#include "host/emit/metric_line.h"
#include "host/emit/output.h"
#include "host/emit/spool.h"
#include "host/importers/importer.h"
#include "host/importers/system_line.h"

namespace host::importers {

// Makes a message stream of tables of readings: a metric of sampled values for each column. The stream is
// gathered and delivered at the end, so that the system message gives the true start and stop, and metrics
// their entities.
class ReadingsBuilder {
public:
    explicit ReadingsBuilder(const ImportTarget& target);
    ReadingsBuilder(const ReadingsBuilder&) = delete;
    ReadingsBuilder& operator=(const ReadingsBuilder&) = delete;

    // Begins a sample at `stamp`, whose readings are of the `duration` before it, both in ns.
    void begin(std::uint64_t stamp, std::uint64_t duration);

    // Takes a reading of the sample. `units` are those of the metric; one that is no number is left out.
    void add(const std::string& metric, std::string_view units, const std::string& entity, double value);

    std::uint64_t samples() const { return m_samples; }

    // Delivers the stream. Start, stop and duration of `system` are filled in, and its time of day if stamps
    // count from 1970.
    void finish(SystemDescription system, bool isWallClock);

private:
    struct Column {
        std::string name;
        emit::Id descriptor = 0;
        emit::QuantityDefinition quantity;
        emit::MetricLine line;
        std::uint64_t sample = 0;  // the last one in which it has a reading
        std::map<emit::Id, std::string> heads;
        std::vector<emit::Id> entities;
    };

    std::size_t column_i(const std::string& name, std::string_view units);
    emit::Id entity_i(const std::string& name);
    void end_i();
    void define_i();
    bool deliver_i(std::string_view line);
    void deliver_i(emit::Spool& spool);

    const ImportTarget m_target;
    emit::Spool m_definitionLines;
    emit::Spool m_sampleLines;
    emit::Output m_definitionOutput;
    emit::Output m_sampleOutput;
    emit::Definitions m_definitions;
    emit::Context m_context;
    std::deque<Column> m_columns;  // by metric id, from 1 on
    std::map<std::string, std::size_t, std::less<>> m_places;
    std::map<std::string, emit::Id, std::less<>> m_entities;
    std::uint64_t m_samples = 0;
    std::uint64_t m_start = 0;
    std::uint64_t m_stamp = 0;
    std::uint64_t m_duration = 0;
};

}  // namespace host::importers
