#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "export/html/lane.h"
#include "export/html/page.h"
#include "export/html/summary_tables.h"
#include "plugins/flat_map.h"
#include "plugins/sample_places.h"
#include "plugins/writer_plugin.h"
#include "pwr/system_metadata.h"

namespace exporting {

// Writes "<output name>.html", a page with pictures of the run that needs nothing but a browser.
//
// Elements are kept in memory as they come, 24 bytes each, until there are more than the environment variable
// PWR_MAX_POINTS allows (2,000,000 without it); then those of a series that are close in time become one
// point. The page is written by fini, in one piece. Statuses are 0 for success and 1 for failure.
class HtmlWriter : public WriterPlugin {
public:
    HtmlWriter();
    ~HtmlWriter() override;

    std::int32_t init(const std::string& outputName, bool continuous) override;

    // Writes the page. Without a system message there is none: a warning and 1. What the host cannot write
    // the host reports.
    std::int32_t fini() override;

    using WriterPlugin::writeMessage;
    std::int32_t writeMessage(const pwr::TableMessage& message) override;
    std::int32_t writeMessage(const pwr::TextMessage& message) override;
    std::int32_t writeMessage(const pwr::SystemMessage& message) override;
    std::int32_t writeMessage(const pwr::Metric& metric) override;
    std::int32_t writeMessage(const pwr::MetricContainerInfoMessage& message) override;

private:
    Lane& laneOf_i(const pwr::Metric& metric);
    void take_i(const pwr::Metric& metric);
    void reduce_i();
    std::size_t countAt_i(unsigned shift) const;
    void reduceTo_i(unsigned shift);
    void write_i();

    std::string m_outputName;
    const pwr::SystemMetadata* m_system = nullptr;  // the host's
    double m_ticksPerSecond = 0;
    std::size_t m_mostPoints;
    std::size_t m_nextReduction;  // at so many points
    std::size_t m_points = 0;
    bool m_isReduced = false;
    unsigned m_shift = 0;
    std::uint64_t m_refused = 0;
    std::deque<Lane> m_lanes;
    FlatMap<std::uint64_t, Lane*> m_lanesByKey;
    SamplePlaces<std::uint64_t, Series*> m_places;
    SummaryTables m_tables;
    std::vector<std::string> m_notes;
};

}  // namespace exporting
