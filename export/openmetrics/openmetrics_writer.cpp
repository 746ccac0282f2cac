#include "export/openmetrics/openmetrics_writer.h"

#include <optional>

#include "export/labels.h"
#include "export/openmetrics/exposition.h"
#include "export/openmetrics/samples.h"
#include "export/result_file.h"
#include "export/run_clock.h"
#include "export/run_name.h"
#include "plugins/log.h"
#include "plugins/memory_guard.h"
#include "plugins/writer_plugin_capability.h"
#include "pwr/messages.h"
#include "pwr/plugin_environment.h"

namespace exporting {

namespace {

constexpr const char* NAME = "openmetrics";
constexpr const char* EXTENSION = ".om";

}  // namespace

// One run.
class OpenMetricsWriter::Impl {
public:
    Impl(const std::string& outputName, bool continuous)
        : m_outputName(outputName), m_continuous(continuous) {}

    void begin(const pwr::SystemMetadata& metadata);
    std::int32_t add(const pwr::Metric& metric);
    bool flush();
    std::int32_t finish();

private:
    bool write_i();
    std::int32_t complete_i();
    void noteCounts_i() const;

    const std::string m_outputName;
    const bool m_continuous;
    bool m_isRefused = false;
    std::optional<openmetrics::Samples> m_samples;  // from the system message on, unless refused
    std::optional<openmetrics::Exposition> m_exposition;
    unsigned m_part = 0;  // the number of the next file
    bool m_isPartEmpty = true;
};

void OpenMetricsWriter::Impl::begin(const pwr::SystemMetadata& metadata) {
    if (m_samples || m_isRefused) return;
    const RunClock clock(metadata);
    if (clock.hasWallTime()) {
        m_exposition.emplace(metadata.m_hostName, runName(m_outputName), userLabels());
        m_samples.emplace(clock);
        return;
    }
    m_isRefused = true;
    LOG_NOTE("openmetrics: no file is written, as the run does not tell %s\n",
             clock.hasSeconds() ? "its time of day: give its start with --start TIME"
                                : "the frequency of its clock, which --start TIME cannot replace");
}

std::int32_t OpenMetricsWriter::Impl::add(const pwr::Metric& metric) {
    if (m_isRefused) return 0;
    if (!m_samples) {
        LOG_WARNING("The writer \"%s\" got data before a system message\n", NAME);
        return 1;
    }
    m_isPartEmpty = false;
    return m_samples->add(metric) ? 0 : 1;
}

// Writes the points since the last file to a file. Returns false if some are missing.
bool OpenMetricsWriter::Impl::write_i() {
    const std::optional<unsigned> part = m_continuous ? std::optional(m_part++) : std::nullopt;
    const std::string path = resultPath(m_outputName, "", EXTENSION, part);
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

bool OpenMetricsWriter::Impl::flush() {
    if (!m_continuous) return false;
    if (m_isRefused) return true;
    return m_samples && write_i();
}

std::int32_t OpenMetricsWriter::Impl::complete_i() {
    if (m_isRefused) return STATUS_REFUSED;
    if (!m_samples) {
        LOG_WARNING("The writer \"%s\" got no system message, so it writes no file\n", NAME);
        return 1;
    }
    const bool isComplete = (m_continuous && m_isPartEmpty) || write_i();
    noteCounts_i();
    return isComplete ? 0 : 1;
}

void OpenMetricsWriter::Impl::noteCounts_i() const {
    const openmetrics::Counts& counts = m_samples->counts();
    LOG_NOTE("openmetrics: %llu elements: %llu kept, %llu merged, %llu left out\n",
             static_cast<unsigned long long>(counts.all()), static_cast<unsigned long long>(counts.kept),
             static_cast<unsigned long long>(counts.merged), static_cast<unsigned long long>(counts.leftOut));
}

std::int32_t OpenMetricsWriter::Impl::finish() {
    const std::int32_t status = complete_i();
    const bool isRunEnded = !m_continuous || g_pluginEnvironment->getFileOutputHandle("")->finish() == 0;
    return status == 0 && !isRunEnded ? 1 : status;
}

OpenMetricsWriter::OpenMetricsWriter() : WriterPlugin("1c7e0045-87b2-4d81-8a37-ec3895dbe50f") {
    addCapability(new pwr::WriterPluginCapability(
        {}, NAME, "Write time series as OpenMetrics text (.om) for monitoring systems and their dashboards",
        EXTENSION, true));
}

OpenMetricsWriter::~OpenMetricsWriter() = default;

std::int32_t OpenMetricsWriter::init(const std::string& outputName, bool continuous) {
    return guardMemory(NAME, 1, [&] {
        if (m_impl == nullptr) m_impl = std::make_unique<Impl>(outputName, continuous);
        return 0;
    });
}

std::int32_t OpenMetricsWriter::fini() {
    if (m_impl == nullptr) return 1;
    return guardMemory(NAME, 1, [&] { return m_impl->finish(); });
}

bool OpenMetricsWriter::flushContinuousResults(const pwr::SystemMetadata&) {
    if (m_impl == nullptr) return false;
    return guardMemory(NAME, false, [&] { return m_impl->flush(); });
}

std::int32_t OpenMetricsWriter::writeMessage(const pwr::SystemMessage& message) {
    if (m_impl == nullptr) return 1;
    return guardMemory(NAME, 1, [&] {
        m_impl->begin(*message.m_metadata);
        return 0;
    });
}

std::int32_t OpenMetricsWriter::writeMessage(const pwr::Metric& metric) {
    if (m_impl == nullptr) return 1;
    return guardMemory(NAME, 1, [&] { return m_impl->add(metric); });
}

}  // namespace exporting
