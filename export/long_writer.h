#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "plugins/writer_plugin.h"

namespace exporting {

// The writer "long": a row of comma-separated values for each element of a sample, NAME_long.csv, and one for
// each cell of a summary table, NAME_cells.csv; in a continuous run a pair of numbered files for each flush.
// docs/formats/long.md describes the columns.
//
// Rows go to the host as they come; nothing is kept of a message.
class LongWriter : public WriterPlugin {
public:
    LongWriter();
    ~LongWriter() override;

    // Starts the run of which the results are called `outputName`. Returns 0, or 1 without memory. A second
    // call changes nothing.
    std::int32_t init(const std::string& outputName, bool continuous) override;

    // Completes the files. Returns 1 without a system message, and then makes none. In a continuous run
    // writes what came since the last flush, and ends the run as a whole.
    std::int32_t fini() override;

    // Completes the numbered files and begins the next ones. Returns false before the system message and
    // outside of continuous runs.
    bool flushContinuousResults(const pwr::SystemMetadata& metadata) override;

    using WriterPlugin::writeMessage;

    // Takes the host's name, the frequency and the start of the clock from the metadata as they are now.
    std::int32_t writeMessage(const pwr::SystemMessage& message) override;

    // Return 1 before the system message, or if memory is lacking; the row that it was lacking for is lost.
    std::int32_t writeMessage(const pwr::Metric& metric) override;
    std::int32_t writeMessage(const pwr::TableMessage& message) override;

private:
    class Impl;

    std::unique_ptr<Impl> m_impl;  // null until init
};

}  // namespace exporting
