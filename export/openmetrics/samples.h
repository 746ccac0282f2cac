#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "export/openmetrics/families.h"
#include "export/openmetrics/series.h"
#include "export/run_clock.h"
#include "export/value_reading.h"
#include "plugins/flat_map.h"
#include "plugins/sample_places.h"
#include "pwr/metric.h"

namespace exporting::openmetrics {

// How many elements there were, and what became of them.
struct Counts {
    std::uint64_t kept = 0;
    std::uint64_t merged = 0;
    std::uint64_t leftOut = 0;

    std::uint64_t all() const { return kept + merged + leftOut; }
};

// What elements go to: an entity and what is reported of it, in a metric.
struct Source {
    const pwr::Metric* metric;
    const pwr::EntityHandle* entity;
    const pwr::DataDescriptor* item;

    bool operator==(const Source&) const = default;
};

inline std::uint64_t hashOf(const Source& source) {
    return ::hashOf(source.metric) ^ (::hashOf(source.entity) >> 1) ^ (::hashOf(source.item) >> 2);
}

struct SourcePart {
    std::uint32_t source = 0;
    Part part = Part::Whole;
    std::uint32_t state = 0;

    bool operator==(const SourcePart&) const = default;
};

inline std::uint64_t hashOf(const SourcePart& part) {
    return ::hashOf(std::uint64_t{part.source} << 32 | std::uint64_t{part.state} << 2 |
                    static_cast<std::uint64_t>(part.part));
}

// Turns the elements of samples into points of series.
class Samples {
public:
    // The run must have wall time.
    explicit Samples(const RunClock& clock) : m_clock(clock) {}

    // Takes the metric's sample. Returns false once the temporary file has failed.
    bool add(const pwr::Metric& metric);

    // Ends a file: its points are all in the lists of the series. The series stay, for the next file. Returns
    // false if the temporary file has failed.
    bool finish();

    // Forgets the points of a file that has been written.
    void clear();

    const Counts& counts() const { return m_counts; }
    Families& families() { return m_families; }
    const Series& series(std::size_t number) const { return m_series[number]; }
    PointSpool& spool() { return m_writer.spool(); }

    // The text of the state that the series counts; empty if it has none.
    const std::string& stateOf(const Series& series) const;

private:
    // What is remembered of a metric.
    struct Kind {
        Unit unit;
        bool isCounter = false;
        std::map<std::string, std::uint32_t, std::less<>> states;  // by text
        std::vector<const std::string*> stateTexts;                // by number
    };
    // The millisecond of a sample and of the begin of an element's interval.
    struct Interval {
        std::int64_t begin;
        std::int64_t end;
    };

    Outcome addElement_i(const pwr::DataElement& element, std::uint32_t source);
    Outcome addNumber_i(SourcePart part, double value, Interval interval);
    Outcome addRange_i(std::uint32_t source, Interval interval);
    Outcome addState_i(std::uint32_t source, std::uint64_t duration, Interval interval);
    Interval intervalOf_i(const pwr::DataElement& element);
    std::int64_t beginOf_i(std::uint64_t duration) const;
    std::uint32_t sourceOf_i(const Source& source);
    Kind& kindOf_i(const pwr::Metric& metric);
    std::uint32_t stateNumber_i();
    Series& numberSeries_i(SourcePart part);
    std::size_t stateSeries_i(SourcePart part);
    std::size_t addSeries_i(SourcePart part, FamilyType type, const Unit& unit);

    const RunClock m_clock;
    Families m_families;
    std::deque<Series> m_series;
    SeriesWriter m_writer;
    Counts m_counts;

    std::map<const pwr::Metric*, Kind> m_kinds;
    std::vector<Source> m_sources;
    FlatMap<Source, std::uint32_t> m_sourceNumbers;      // counted from 1
    FlatMap<SourcePart, std::uint32_t> m_seriesNumbers;  // likewise; of a state: of its seconds
    SamplePlaces<const void*, std::uint32_t> m_places;   // sources, by metric

    // Of the sample that is being taken.
    const pwr::Metric* m_metric = nullptr;
    Kind* m_kind = nullptr;
    std::int64_t m_stamp = 0;                 // milliseconds since 1970
    std::optional<std::uint64_t> m_duration;  // of the latest element that was asked for
    std::int64_t m_begin = 0;                 // of its interval, as m_stamp
    Value m_value;                            // of the element
    std::string m_text;
};

}  // namespace exporting::openmetrics
