#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "export/openmetrics/exposition.h"
#include "export/openmetrics/samples.h"
#include "pwr/metric.h"
#include "pwr/system_metadata.h"

namespace exporting {

// One run of the writer "openmetrics"; see RunWriter. Takes the host's name, the frequency and the start of
// the clock from the metadata as they are at its making. If these tell no time of day the user is told so,
// nothing is written of the run, and finish returns STATUS_REFUSED.
//
// The format wants all points of a series together, so they are spooled to disk and printed at the flush or
// at the end. In memory stays what there is to know of each series. Once the spool has failed points are
// missing, and every operation says so.
class OpenMetricsRun {
public:
    static constexpr const char* NAME = "openmetrics";

    OpenMetricsRun(const std::string& outputName, bool continuous, const pwr::SystemMetadata& metadata);

    std::int32_t add(const pwr::Metric& metric);

    // Counters go on from file to file.
    bool flush(const pwr::SystemMetadata& metadata);
    std::int32_t finish(const pwr::SystemMetadata& metadata);

private:
    bool write_i();
    void noteCounts_i() const;

    const std::string m_outputName;
    const bool m_continuous;
    std::optional<openmetrics::Samples> m_samples;  // these two are not there if the run is refused
    std::optional<openmetrics::Exposition> m_exposition;
    unsigned m_part = 0;  // the number of the next file
    bool m_isPartEmpty = true;
};

}  // namespace exporting
