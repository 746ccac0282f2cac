#include "binary/binarywriter_plugin.h"

#include "binary/binary_writer_impl.h"
#include "plugins/log.h"
#include "plugins/memory_guard.h"
#include "plugins/writer_plugin_capability.h"

namespace {

void reportLack() {
    LOG_ERROR("Binary writer plugin ran out of memory\n");
}

}  // namespace

BinaryWriter::BinaryWriter() : WriterPlugin("c3b1f91c-4a80-11e9-8261-001e67ca31ce") {
    auto capability = std::make_unique<pwr::WriterPluginCapability>(
        std::set<pwr::TableClass>(), "bin",
        "Write data in a proprietary binary format (.ztbin) for consumption by the Zentrace API", ".ztbin",
        true);
    capability->m_flags |= pwr::PluginCapability::FLAG_HOST;
    addCapability(capability.release());
}

BinaryWriter::~BinaryWriter() = default;

std::int32_t BinaryWriter::init(const std::string& outputName, bool continuous) {
    const auto create = [&] {
        if (m_impl == nullptr) m_impl = std::make_unique<Impl>(outputName, continuous);
        return 0;
    };
    return guardMemory(reportLack, 1, create);
}

std::int32_t BinaryWriter::fini() {
    if (m_impl == nullptr) return 1;
    return guardMemory(reportLack, 1, [this] { return m_impl->fini(); });
}

bool BinaryWriter::flushContinuousResults(const pwr::SystemMetadata& metadata) {
    if (m_impl == nullptr) return false;
    const auto flush = [&] {
        m_impl->flushResults_i(metadata, true);
        return true;
    };
    return guardMemory(reportLack, false, flush);
}

std::int32_t BinaryWriter::writeMessage(const pwr::SystemMessage& message) {
    if (m_impl == nullptr) return 1;
    m_impl->writeMessage(message);
    return 0;
}

std::int32_t BinaryWriter::writeMessage(const pwr::Metric& metric) {
    if (m_impl == nullptr) return 1;
    return guardMemory(reportLack, 1, [&] { return m_impl->writeMessage(metric); });
}
