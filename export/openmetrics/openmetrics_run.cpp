#include "export/openmetrics/openmetrics_run.h"

#include "export/labels.h"
#include "export/result_file.h"
#include "export/run_clock.h"
#include "export/run_name.h"
#include "plugins/log.h"
#include "plugins/writer_plugin.h"

namespace exporting {

OpenMetricsRun::OpenMetricsRun(const std::string& outputName, bool continuous,
                               const pwr::SystemMetadata& metadata)
    : m_outputName(outputName), m_continuous(continuous) {
    const RunClock clock(metadata);
    if (clock.hasWallTime()) {
        m_exposition.emplace(metadata.m_hostName, runName(m_outputName), userLabels());
        m_samples.emplace(clock);
        return;
    }
    LOG_NOTE("openmetrics: no file is written, as the run does not tell %s\n",
             clock.hasSeconds() ? "its time of day: give its start with --start TIME"
                                : "the frequency of its clock, which --start TIME cannot replace");
}

std::int32_t OpenMetricsRun::add(const pwr::Metric& metric) {
    if (!m_samples) return 0;
    m_isPartEmpty = false;
    return m_samples->add(metric) ? 0 : 1;
}

// Writes the points since the last file to a file. Returns false if some are missing.
bool OpenMetricsRun::write_i() {
    const std::optional<unsigned> part = m_continuous ? std::optional(m_part++) : std::nullopt;
    const std::string path = resultPath(m_outputName, "", ".om", part);
    ResultFile file;
    file.open(path);
    const bool isSpooled = m_samples->finish();
    const bool isComplete = m_exposition->print(*m_samples, file) && isSpooled;
    file.close();
    m_samples->clear();
    m_isPartEmpty = true;
    if (!isComplete) LOG_ERROR("%s is not complete, as its temporary file failed\n", path.c_str());
    return isComplete;
}

bool OpenMetricsRun::flush(const pwr::SystemMetadata&) {
    return !m_samples || write_i();
}

std::int32_t OpenMetricsRun::finish(const pwr::SystemMetadata&) {
    if (!m_samples) return WriterPlugin::STATUS_REFUSED;
    const bool isComplete = (m_continuous && m_isPartEmpty) || write_i();
    noteCounts_i();
    return isComplete ? 0 : 1;
}

void OpenMetricsRun::noteCounts_i() const {
    const openmetrics::Counts& counts = m_samples->counts();
    LOG_NOTE("openmetrics: %llu elements: %llu kept, %llu merged, %llu left out\n",
             static_cast<unsigned long long>(counts.all()), static_cast<unsigned long long>(counts.kept),
             static_cast<unsigned long long>(counts.merged), static_cast<unsigned long long>(counts.leftOut));
}

}  // namespace exporting
