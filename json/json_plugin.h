#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "json/series.h"
#include "json/series_cache.h"
#include "plugins/element_reading.h"
#include "plugins/writer_plugin.h"
#include "pwr/metric.h"
#include "pwr/system_metadata.h"

// Writes the whole run as one JSON document, "<output name>.ztjson", or hands everything to the collector of
// continuous results.
//
// Samples are kept in memory, about 20 bytes per point (see PointList), until fini writes the document. Times
// are reckoned in single precision, so they get coarser with the length of the collection: beyond 2^24
// microseconds (17 seconds) they are no longer exact to the microsecond. Statuses are 0 for success and 1 for
// failure.
class JSONWriter : public WriterPlugin {
public:
    JSONWriter();
    ~JSONWriter() override;

    // The document is created by fini.
    std::int32_t init(const std::string& name, bool continuous) override;

    // Writes the document and returns 0, also if the file cannot be created, which is not reported, or not be
    // completed, which is an error line. Without a system message there is no document: a warning and 1; when
    // memory runs out, an error line and 1.
    // In a continuous run: the host's status; what waits for a flush stays unwritten.
    std::int32_t fini() override;

    // In a continuous run writes what has gathered since the last time; otherwise returns false.
    bool flushContinuousResults(const pwr::SystemMetadata& metadata) override;

    using WriterPlugin::writeMessage;
    std::int32_t writeMessage(const pwr::TextMessage& message) override;
    std::int32_t writeMessage(const pwr::SystemMessage& message) override;

    // Returns 1 at the first element whose value should name a descriptor and doesn't; the elements before it
    // are kept. So it is when memory runs out, with an error line.
    std::int32_t writeMessage(const pwr::Metric& metric) override;

private:
    std::int32_t finish_i();
    std::int32_t takeSystem_i(const pwr::SystemMessage& message);
    std::uint64_t toMicroseconds_i(std::uint64_t ticks) const;
    std::int32_t writeElements_i(const pwr::Metric& metric);
    SeriesPlaces::Place* placesOf_i(const pwr::Metric& metric, std::size_t count);
    bool findSlotAt_i(SeriesPlaces::Place& place, const pwr::Metric& metric, const pwr::DataElement& element,
                      const ElementReading& reading, SeriesSlot& slot);
    bool findSlot_i(const pwr::Metric& metric, const pwr::DataElement& element, const ElementReading& reading,
                    SeriesSlot& slot);
    bool findNewSlot_i(const pwr::Metric& metric, const pwr::DataElement& element,
                       const ElementReading& reading, SeriesSlot& slot);
    SeriesSlot findSlotOfState_i(const pwr::Metric& metric, const pwr::DataElement& element,
                                 const ElementReading& reading, const std::string& state);
    std::uint64_t addSeries(const std::string& key, const std::string& name, const pwr::Metric& metric,
                            const pwr::DataElement* element, bool hasStates);

    std::string m_unused;
    std::string m_extension;
    std::string m_outputPath;
    float m_tickFactor;                           // microseconds per tick
    const pwr::SystemMetadata* m_systemMetadata;  // the host's; null before the system message
    std::uint64_t m_collectionStart;              // TSC ticks
    std::string m_commandLine;                    // each word after a blank
    std::string m_zentraceVersion;
    std::string m_driverVersion;
    std::unordered_map<std::uint64_t, Series*> m_series;  // by series key
    bool m_continuous;

    std::vector<std::unique_ptr<Series>> m_ownedSeries;  // in order of first appearance
    SeriesCache m_cache;
    SeriesPlaces m_places;
    std::string m_stateText;  // reused
};
