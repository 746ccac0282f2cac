#pragma once

#include <memory>
#include <string>

#include "plugins/writer_plugin.h"

// The writer "bin": the over-time data of a run as a compact binary trace, NAME.ztbin, or in a continuous run
// as a series of them, NAME_0.ztbin and so on, one for each flush. docs/formats/ztbin.md describes the files.
//
// Everything is held in memory until the flush or the end of the run: 27 bytes for each element of a metric's
// sample, and each string, state and metric once.
class BinaryWriter : public WriterPlugin {
public:
    BinaryWriter();
    ~BinaryWriter() override;

    // Starts the run of which the results are called `outputName`. Returns 0, or 1 without memory. A second
    // call changes nothing.
    std::int32_t init(const std::string& outputName, bool continuous) override;

    // Writes the file, and returns 1 if nothing could be handed to the host: without a system message or
    // memory. Whether the bytes reach the disk is the host's to report. In a continuous run ends the run as a
    // whole and returns the host's status; what came after the last flush is not written.
    std::int32_t fini() override;

    // Writes everything since the last flush to the next file of the series, headed by `metadata`. Returns
    // false only before init or if memory is lacking.
    bool flushContinuousResults(const pwr::SystemMetadata& metadata) override;

    using WriterPlugin::writeMessage;

    // Keeps the pointer to the metadata, which must outlive fini. Returns 0, or 1 before init.
    std::int32_t writeMessage(const pwr::SystemMessage& message) override;

    // Takes in a sample. Returns 1 if no system message came before, or at the first element whose value
    // should be a data descriptor and is none; elements before that one are kept, those after it dropped.
    std::int32_t writeMessage(const pwr::Metric& metric) override;

private:
    class Impl;

    std::unique_ptr<Impl> m_impl;  // null until init
};
