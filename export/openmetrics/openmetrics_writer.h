#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "plugins/writer_plugin.h"

namespace exporting {

// The writer "openmetrics": the over-time data of a run as series of a monitoring system, NAME.om; in a
// continuous run a numbered file for each flush. docs/formats/openmetrics.md describes names and values.
//
// The format wants all points of a series together, so they are spooled to disk and printed at the flush or
// at the end. In memory stays what there is to know of each series.
class OpenMetricsWriter : public WriterPlugin {
public:
    OpenMetricsWriter();
    ~OpenMetricsWriter() override;

    // Starts the run of which the results are called `outputName`. Returns 0, or 1 without memory. A second
    // call changes nothing.
    std::int32_t init(const std::string& outputName, bool continuous) override;

    // Writes the file and tells the user how many elements are in it. Returns 1, and makes no file, without a
    // system message; STATUS_REFUSED if the system message told no time of day; and 1 if the temporary file
    // failed, so that points are missing. In a continuous run writes what came since the last flush, and ends
    // the run as a whole.
    std::int32_t fini() override;

    // Writes the points since the last flush to the next file of the series. Returns false before the system
    // message, outside of continuous runs, and if points are missing. Counters go on from file to file.
    bool flushContinuousResults(const pwr::SystemMetadata& metadata) override;

    using WriterPlugin::writeMessage;

    // Takes the host's name, the frequency and the start of the clock from the metadata as they are now. If
    // these tell no time of day the user is told so, and nothing is written of the run.
    std::int32_t writeMessage(const pwr::SystemMessage& message) override;

    // Returns 1 before the system message, if memory is lacking, and once the temporary file has failed.
    std::int32_t writeMessage(const pwr::Metric& metric) override;

private:
    class Impl;

    std::unique_ptr<Impl> m_impl;  // null until init
};

}  // namespace exporting
