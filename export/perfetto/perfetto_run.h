#pragma once

#include <cstdint>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "export/perfetto/owner.h"
#include "export/perfetto/trace_file.h"
#include "export/perfetto/track_table.h"
#include "export/value_reading.h"
#include "pwr/system_metadata.h"

namespace exporting {

// One run of the writer "perfetto"; see RunWriter. Takes frequency and start of the clock from the metadata
// as they are at its making.
//
// The file is written as the run goes on: what is held is a track for each series, the names since they were
// last forgotten, and a piece of output.
class PerfettoRun {
public:
    static constexpr const char* NAME = "perfetto";

    PerfettoRun(const std::string& outputName, bool continuous, const pwr::SystemMetadata& metadata);

    std::int32_t add(const pwr::Metric& metric);
    bool flush(const pwr::SystemMetadata& metadata);

    // Tells the user also what was left out.
    std::int32_t finish(const pwr::SystemMetadata& metadata);

private:
    void openFile_i();
    void completeFile_i(const pwr::SystemMetadata& metadata);
    bool time_i(std::uint64_t ticks, std::uint64_t& nanoseconds) const;
    bool begin_i(const pwr::DataElement& element, std::uint64_t ticks, std::uint64_t& nanoseconds) const;
    void sampled_i(const pwr::Metric& metric, const pwr::DataElement& element, std::uint64_t ticks,
                   ItemTracks& item);
    bool numbers_i(const pwr::Metric& metric, const pwr::DataElement& element, std::uint64_t begin,
                   ItemTracks& item);
    void writeCounters_i();
    void transition_i(Track& track, const pwr::DataElement& element, std::uint64_t ticks,
                      const ItemTracks& item);
    void event_i(const pwr::DataElement& element, std::uint64_t ticks, const ItemTracks& item);
    Track& trackOf_i(const Owner& owner, Track& other);
    void lifeTime_i(const pwr::DataHandle& owner, const pwr::SystemMetadata& metadata);

    static constexpr std::uint64_t LAST_TIME = std::numeric_limits<std::int64_t>::max();

    const std::string m_outputName;
    const bool m_continuous;
    const std::uint64_t m_start;  // ticks
    const std::uint64_t m_wall;   // nanoseconds since 1970 at the start, 0 for none
    const long double m_nanosecondsPerTick;
    std::uint32_t m_part = 0;  // the number of the next file
    TrackTable m_tracks;
    TraceFile m_file;
    std::vector<CounterValue> m_counters;  // that change at m_countersTime and are not written yet
    std::uint64_t m_countersTime = 0;
    Value m_value;                                 // of the element at hand
    std::vector<const pwr::DataHandle*> m_owners;  // processes and threads that the file names, in order
    std::set<const pwr::DataHandle*> m_isOwner;    // the same
    std::string m_text;
    std::uint64_t m_leftOut = 0;
};

}  // namespace exporting
