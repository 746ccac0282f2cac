#pragma once

#include <cstdint>

#include "export/long_run.h"
#include "export/run_writer.h"

namespace exporting {

// The writer "long": a row of comma-separated values for each element of a sample, NAME_long.csv, and one for
// each cell of a summary table, NAME_cells.csv; in a continuous run a pair of numbered files for each flush.
// docs/formats/long.md describes the columns.
//
// Rows go to the host as they come; nothing is kept of a message.
class LongWriter : public RunWriter<LongRun> {
public:
    LongWriter();

    using RunWriter::writeMessage;

    // Takes rows; an announcement says nothing.
    std::int32_t writeMessage(const pwr::TableMessage& message) override;
};

}  // namespace exporting
