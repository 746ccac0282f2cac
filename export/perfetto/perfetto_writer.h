#pragma once

#include <memory>
#include <string>

#include "plugins/writer_plugin.h"

namespace exporting {

// The writer "perfetto": the over-time data of a run as track events, NAME.perfetto-trace, or in a continuous
// run as a series of files that stand alone, NAME_0.perfetto-trace and so on. docs/formats/perfetto.md says
// how the messages are shown.
//
// The file is written as the run goes on: what is held is a track for each series, the names since they were
// last forgotten, and a piece of output.
class PerfettoWriter : public WriterPlugin {
public:
    PerfettoWriter();
    ~PerfettoWriter() override;

    // Starts the run of which the results are called `outputName`. Returns 0, or 1 without memory.
    std::int32_t init(const std::string& outputName, bool continuous) override;

    // Completes the file. Returns 1 if there was no system message or memory is lacking; what the disk
    // refuses is the host's to report.
    std::int32_t fini() override;

    // Completes the file of the series and begins the next one with what comes. False before init.
    bool flushContinuousResults(const pwr::SystemMetadata& metadata) override;

    using WriterPlugin::writeMessage;

    // Keeps the pointer to the metadata, which must outlive fini.
    std::int32_t writeMessage(const pwr::SystemMessage& message) override;

    // Writes a sample. Returns 1 if no system message came before or memory is lacking.
    std::int32_t writeMessage(const pwr::Metric& metric) override;

private:
    class Impl;

    std::unique_ptr<Impl> m_impl;  // null until init
};

}  // namespace exporting
