#include "binary/binarywriter_plugin.h"

#include <new>

#include "binary/binary_writer_impl.h"
#include "plugins/log.h"
#include "plugins/writer_plugin_capability.h"

namespace {

// Runs an operation that needs memory, and gives `failure` if there is none.
template <typename Operation, typename Result>
Result guarded(Operation operation, Result failure) {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        LOG_ERROR("Binary writer plugin ran out of memory\n");
        return failure;
    }
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
    return guarded(create, 1);
}

std::int32_t BinaryWriter::fini() {
    if (m_impl == nullptr) return 1;
    return guarded([this] { return m_impl->fini(); }, 1);
}

bool BinaryWriter::flushContinuousResults(const pwr::SystemMetadata& metadata) {
    if (m_impl == nullptr) return false;
    const auto flush = [&] {
        m_impl->flushResults_i(metadata, true);
        return true;
    };
    return guarded(flush, false);
}

std::int32_t BinaryWriter::writeMessage(const pwr::SystemMessage& message) {
    if (m_impl == nullptr) return 1;
    m_impl->writeMessage(message);
    return 0;
}

std::int32_t BinaryWriter::writeMessage(const pwr::Metric& metric) {
    if (m_impl == nullptr) return 1;
    return guarded([&] { return m_impl->writeMessage(metric); }, 1);
}
