#include "export/long_writer.h"

#include <memory>
#include <optional>
#include <utility>

#include "export/long_rows.h"
#include "export/result_file.h"
#include "export/run_name.h"
#include "plugins/log.h"
#include "plugins/memory_guard.h"
#include "plugins/writer_plugin_capability.h"
#include "pwr/messages.h"
#include "pwr/plugin_environment.h"

namespace exporting {

namespace {

constexpr const char* NAME = "long";
constexpr const char* EXTENSION = "_long.csv";

}  // namespace

// One run.
class LongWriter::Impl {
public:
    Impl(const std::string& outputName, bool continuous)
        : m_outputName(outputName), m_continuous(continuous) {}

    void begin(const pwr::SystemMetadata& metadata);
    bool flush();
    std::int32_t finish();
    template <typename Message>
    std::int32_t add(const Message& message);

private:
    void open_i();
    void close_i();
    void add_i(const pwr::Metric& metric) { m_rows->addSample(metric, m_samples); }
    void add_i(const pwr::TableMessage& message) { m_rows->addCells(message, m_cells); }

    const std::string m_outputName;
    const bool m_continuous;
    std::unique_ptr<LongRows> m_rows;  // from the system message on
    unsigned m_part = 0;               // the number of the files that are being written
    bool m_isPartEmpty = true;
    ResultFile m_samples;
    ResultFile m_cells;
};

void LongWriter::Impl::begin(const pwr::SystemMetadata& metadata) {
    if (m_rows) return;
    auto rows = std::make_unique<LongRows>(runName(m_outputName), metadata);
    open_i();
    m_rows = std::move(rows);
}

void LongWriter::Impl::open_i() {
    const std::optional<unsigned> part = m_continuous ? std::optional(m_part) : std::nullopt;
    m_samples.open(resultPath(m_outputName, "_long", ".csv", part));
    m_cells.open(resultPath(m_outputName, "_cells", ".csv", part));
    m_samples.append(LongRows::SAMPLES_HEADER);
    m_samples.endRecord();
    m_cells.append(LongRows::CELLS_HEADER);
    m_cells.endRecord();
    m_isPartEmpty = true;
}

void LongWriter::Impl::close_i() {
    m_samples.close();
    m_cells.close();
}

template <typename Message>
std::int32_t LongWriter::Impl::add(const Message& message) {
    if (!m_rows) {
        LOG_WARNING("The writer \"%s\" got data before a system message\n", NAME);
        return 1;
    }
    m_isPartEmpty = false;
    add_i(message);
    return 0;
}

bool LongWriter::Impl::flush() {
    if (!m_rows || !m_continuous) return false;
    close_i();
    ++m_part;
    // Without memory for the files there are no rows either.
    std::unique_ptr<LongRows> rows = std::move(m_rows);
    open_i();
    m_rows = std::move(rows);
    return true;
}

std::int32_t LongWriter::Impl::finish() {
    if (!m_rows) LOG_WARNING("The writer \"%s\" got no system message, so it writes no file\n", NAME);
    if (m_rows && !(m_continuous && m_isPartEmpty)) close_i();
    const bool isRunEnded = !m_continuous || g_pluginEnvironment->getFileOutputHandle("")->finish() == 0;
    return m_rows != nullptr && isRunEnded ? 0 : 1;
}

LongWriter::LongWriter() : WriterPlugin("f7c72212-3e7d-4524-9e97-3e896038cf42") {
    addCapability(new pwr::WriterPluginCapability(
        {pwr::TABLE_CLASS_SUMMARY}, NAME,
        "Write a CSV row for each value, for databases and statistics, and one for each cell of the summary",
        EXTENSION, true));
}

LongWriter::~LongWriter() = default;

std::int32_t LongWriter::init(const std::string& outputName, bool continuous) {
    return guardMemory(NAME, 1, [&] {
        if (m_impl == nullptr) m_impl = std::make_unique<Impl>(outputName, continuous);
        return 0;
    });
}

std::int32_t LongWriter::fini() {
    if (m_impl == nullptr) return 1;
    return guardMemory(NAME, 1, [&] { return m_impl->finish(); });
}

bool LongWriter::flushContinuousResults(const pwr::SystemMetadata&) {
    if (m_impl == nullptr) return false;
    return guardMemory(NAME, false, [&] { return m_impl->flush(); });
}

std::int32_t LongWriter::writeMessage(const pwr::SystemMessage& message) {
    if (m_impl == nullptr) return 1;
    return guardMemory(NAME, 1, [&] {
        m_impl->begin(*message.m_metadata);
        return 0;
    });
}

std::int32_t LongWriter::writeMessage(const pwr::Metric& metric) {
    if (m_impl == nullptr) return 1;
    return guardMemory(NAME, 1, [&] { return m_impl->add(metric); });
}

std::int32_t LongWriter::writeMessage(const pwr::TableMessage& message) {
    if (m_impl == nullptr) return 1;
    if (message.getTableMessageType() != pwr::TABLE_ROW) return 0;
    return guardMemory(NAME, 1, [&] { return m_impl->add(message); });
}

}  // namespace exporting
