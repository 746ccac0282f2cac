#pragma once

#include <cstdint>
#include <string>

#include "export/long_rows.h"
#include "export/result_file.h"

namespace exporting {

// One run of the writer "long"; see RunWriter. Takes the host's name, the frequency and the start of the
// clock from the metadata as they are at its making. A row for which memory is lacking is lost.
class LongRun {
public:
    static constexpr const char* NAME = "long";

    LongRun(const std::string& outputName, bool continuous, const pwr::SystemMetadata& metadata);

    std::int32_t add(const pwr::Metric& metric);
    std::int32_t add(const pwr::TableMessage& message);
    bool flush(const pwr::SystemMetadata& metadata);
    std::int32_t finish(const pwr::SystemMetadata& metadata);

private:
    void open_i();
    void close_i();

    const std::string m_outputName;
    const bool m_continuous;
    LongRows m_rows;
    unsigned m_part = 0;    // the number of the files that are being written or come next
    bool m_isOpen = false;  // both files are, with their headers
    ResultFile m_samples;
    ResultFile m_cells;
};

}  // namespace exporting
