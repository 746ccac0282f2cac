#include "export/long_run.h"

#include <optional>

#include "export/run_name.h"

namespace exporting {

LongRun::LongRun(const std::string& outputName, bool continuous, const pwr::SystemMetadata& metadata)
    : m_outputName(outputName), m_continuous(continuous), m_rows(runName(outputName), metadata) {}

void LongRun::open_i() {
    if (m_isOpen) return;
    const std::optional<unsigned> part = m_continuous ? std::optional(m_part) : std::nullopt;
    m_samples.open(resultPath(m_outputName, "_long", ".csv", part));
    m_cells.open(resultPath(m_outputName, "_cells", ".csv", part));
    m_samples.append(LongRows::SAMPLES_HEADER);
    m_samples.endRecord();
    m_cells.append(LongRows::CELLS_HEADER);
    m_cells.endRecord();
    m_isOpen = true;
}

void LongRun::close_i() {
    m_samples.close();
    m_cells.close();
    m_isOpen = false;
    ++m_part;
}

std::int32_t LongRun::add(const pwr::Metric& metric) {
    open_i();
    m_rows.addSample(metric, m_samples);
    return 0;
}

std::int32_t LongRun::add(const pwr::TableMessage& message) {
    open_i();
    m_rows.addCells(message, m_cells);
    return 0;
}

bool LongRun::flush(const pwr::SystemMetadata&) {
    open_i();
    close_i();
    return true;
}

std::int32_t LongRun::finish(const pwr::SystemMetadata&) {
    if (!m_continuous) open_i();
    if (m_isOpen) close_i();
    return 0;
}

}  // namespace exporting
