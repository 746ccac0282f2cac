#include "binary/binary_writer_impl.h"

#include "binary/record_fields.h"
#include "plugins/log.h"
#include "plugins/numbers.h"
#include "plugins/prefetch.h"
#include "plugins/value_text.h"
#include "pwr/plugin_environment.h"
#include "pwr/utilities.h"

namespace bin = pwr::bin;
using bin::MsgType;
using namespace record_fields;

namespace {

constexpr std::size_t NAME_BUFFER_LENGTH = 1024;
constexpr std::size_t FETCHED_AHEAD = 16;

// Several metrics may share an id; where they differ in type, other texts stand for their elements.
std::uint64_t placesKeyOf(const pwr::Metric& metric) {
    return std::uint64_t{metric.m_id} << 1 | (metric.m_metricType == pwr::Metric::SAMPLED_DELTA ? 1 : 0);
}

}  // namespace

BinaryWriter::Impl::Impl(const std::string& outputName, bool continuous)
    : m_outputName(outputName),
      m_continuous(continuous),
      m_stringRecord(makeRecord(MsgType::StringStore, bin::STRING_FIXED_LENGTH, bin::STRING_FIXED_LENGTH)),
      m_dataRecord(makeRecord(MsgType::MetricData, bin::DATA_VALUE, bin::DATA_VALUE)),
      m_metricRecord(makeRecord(MsgType::MetricMeta, bin::METRIC_FIXED_LENGTH, bin::METRIC_FIXED_LENGTH)),
      m_descriptorRecord(makeRecord(MsgType::DescriptorMeta, bin::DESCRIPTOR_LENGTH, bin::DESCRIPTOR_LENGTH)),
      m_systemRecord(makeRecord(MsgType::SystemMeta, bin::SYSTEM_LENGTH, bin::SYSTEM_LENGTH)),
      m_dataBuffer(m_buffers[MsgType::MetricData]) {}

std::int32_t BinaryWriter::Impl::fini() {
    if (m_continuous) return g_pluginEnvironment->getFileOutputHandle("")->finish();
    if (m_metadata == nullptr) {
        LOG_WARNING("Binary writer plugin got no system message, so it writes no file\n");
        return 1;
    }
    flushResults_i(*m_metadata, false);
    return 0;
}

void BinaryWriter::Impl::flushResults_i(const pwr::SystemMetadata& metadata, bool continuous) {
    static int num = 0;
    char name[NAME_BUFFER_LENGTH];
    const int length = continuous
                           ? pw_snprintf(name, sizeof(name), "%s_%d.ztbin", m_outputName.c_str(), num++)
                           : pw_snprintf(name, sizeof(name), "%s.ztbin", m_outputName.c_str());
    if (length >= static_cast<int>(sizeof(name))) noteLimit_i(LIMIT_NAME_LENGTH);

    pwr::Logger& handle = *g_pluginEnvironment->getFileOutputHandle(name);
    m_buffers[MsgType::SystemMeta].clear();  // of what a flush without memory may have left
    createSystemMeta_i(metadata);
    flushBuffers_i(handle);
    handle.flush();
    std::vector<char>().swap(handle.m_buffer);  // the host keeps its handles, and would keep the memory
    handle.m_writeCount = 0;
    handle.close();
}

void BinaryWriter::Impl::writeMessage(const pwr::SystemMessage& message) {
    m_metadata = message.m_metadata;
    m_tscPeriod = static_cast<double>(1.0F / m_metadata->m_tscFrequency);
    LOG_INFO_TAG(BINARY_WRITER_TAG, "wrote system message\n");
}

std::int32_t BinaryWriter::Impl::writeMessage(const pwr::Metric& metric) {
    if (m_metadata == nullptr) {
        if (!m_isMissingSystemNoted)
            LOG_WARNING("Binary writer plugin got a metric before a system message\n");
        m_isMissingSystemNoted = true;
        return 1;
    }
    const pwr::Metric::Sample& sample = metric.getData();
    const Message message{metric, isInstant(metric), isLogged(LogLevel::Info, BINARY_WRITER_TAG)};
    setPayloadLength(m_dataRecord, bin::DATA_LENGTH);
    putField(m_dataRecord, bin::DATA_TIMESTAMP, sample.timestamp);
    putField(m_dataRecord, bin::DATA_METRIC_ID, metric.m_id);
    const std::size_t count = sample.elements.size();
    Places::Place* const places = m_places.placesOf(placesKeyOf(metric), count);
    for (std::size_t i = 0; i < count; ++i) {
        prefetchAfter(sample.elements, i);
        // Many entities do not fit into the processor's caches, and most are those of the sample before.
        if (i + FETCHED_AHEAD < count) prefetch(places[i + FETCHED_AHEAD].entity, 2 * CACHE_LINE);
        if (!writeElement_i(message, *sample.elements[i], places[i])) return 1;
    }
    LOG_INFO_TAG(BINARY_WRITER_TAG, "wrote Metric message\n");
    return 0;
}

// The order in which strings and descriptors are first referred to is part of the file: the element's
// descriptor, then the metric's description, then the element's name. An element that is like the one in its
// place in the sample before refers to nothing new.
bool BinaryWriter::Impl::writeElement_i(const Message& message, const pwr::DataElement& element,
                                        Places::Place& place) {
    const pwr::DataDescriptor* const state = element.getDescriptor();
    const pwr::EntityHandle* const entity = element.getEntity();
    const bool isKnown = place.isOf(entity, state) && place.target.isNamed(entity->getName());
    const Index descriptor = isKnown ? place.target.descriptor : getDescriptorIdx_i(state);
    const double time = message.durationless ? 1.0 : static_cast<double>(element.getDuration()) * m_tscPeriod;
    const auto duration = truncateSaturated<std::uint64_t>(time);
    const pwr::Metric::MetricType type = message.metric.m_metricType;
    ElementReading reading = readElement(type, element, duration, 1.0);
    // Of any residency, also where the value is no number: with no frequency none is one.
    if (type == pwr::Metric::SAMPLED_RESIDENCY) reading.value *= m_tscPeriod;
    if (reading.stateOrigin == StateOrigin::DescriptorInValue && asDescriptor(reading.handle) == nullptr) {
        LOG_WARNING("Binary writer plugin failed to retrieve descriptor\n");
        return false;
    }
    Index name = place.target.name;
    if (message.isLogged) logElement(BINARY_WRITER_TAG, type, element, reading, stateOf(element, reading));
    if (!isKnown || message.isLogged) {
        describeOnce_i(message.metric);
        name = getSampleNameIdx_i(message, element, state);
        remember_i(element, descriptor, name, place);
    }

    char* const record = m_dataBuffer.extend(bin::HEAD_LENGTH + bin::DATA_LENGTH);
    packing::putBytes(record, m_dataRecord.data(), bin::HEAD_LENGTH + bin::DATA_VALUE);
    char* const payload = record + bin::HEAD_LENGTH;
    packing::put(payload + bin::DATA_DURATION, static_cast<float>(duration));
    packing::put(payload + bin::DATA_NAME, name);
    packing::put(payload + bin::DATA_DESCRIPTOR, descriptor);
    packing::put(payload + bin::DATA_VALUE, static_cast<float>(reading.value));
    return true;
}

// An index of 0 stands for no descriptor or for one of many; it is asked for anew each time.
void BinaryWriter::Impl::remember_i(const pwr::DataElement& element, Index descriptor, Index name,
                                    Places::Place& place) {
    const std::string& text = element.getEntity()->getName();
    const bool isKept = name != 0 && (descriptor != 0 || element.getDescriptor() == nullptr);
    place.entity = isKept && text.size() <= sizeof place.target.nameText ? element.getEntity() : nullptr;
    if (place.entity == nullptr) return;
    place.descriptor = element.getDescriptor();
    place.target.name = name;
    place.target.descriptor = descriptor;
    place.target.nameLength = static_cast<std::uint32_t>(text.size());
    std::memcpy(place.target.nameText, text.data(), text.size());
}

void BinaryWriter::Impl::describeOnce_i(const pwr::Metric& metric) {
    static pwr::PWSet<unsigned int> metricsWithMetadataSent;
    if (!metricsWithMetadataSent.insert(metric.m_id).second) return;
    LOG_INFO_TAG(BINARY_WRITER_TAG,
                 "metric container with name %s and id %u does NOT have metadata sent yet\n",
                 metric.m_name.c_str(), metric.m_id);
    try {
        createMetricMeta_i(metric);
    } catch (...) {
        metricsWithMetadataSent.erase(metric.m_id);
        throw;
    }
}

bin::Index BinaryWriter::Impl::getSampleNameIdx_i(const Message& message, const pwr::DataElement& element,
                                                  const pwr::DataDescriptor* descriptor) {
    const bool isDelta = message.metric.m_metricType == pwr::Metric::SAMPLED_DELTA;
    if (message.isLogged)
        return getStringStoreIdx_i(isDelta ? getState(&element, false) : element.getEntity()->getName());
    return isDelta ? getStateIdx_i(element, descriptor) : getNameIdx_i(element.getEntity()->getName());
}

bin::Index BinaryWriter::Impl::getStateIdx_i(const pwr::DataElement& element,
                                             const pwr::DataDescriptor* descriptor) {
    static const std::string noState;
    if (descriptor == nullptr) return getNameIdx_i(noState);
    const KnownDescriptor* const known = m_knownDescriptors.find(descriptor);
    if (known != nullptr && known->stateIndex != 0) return known->stateIndex;
    const Index index = getStringStoreIdx_i(getState(&element, false));
    if (known != nullptr) m_knownDescriptors[descriptor].stateIndex = index;
    return index;
}

bin::Index BinaryWriter::Impl::getNameIdx_i(const std::string& name) {
    const StringEntry* const* const known = m_knownNames.find(&name);
    if (known != nullptr && (*known)->first == name) return (*known)->second;
    const StringEntry& entry = internString_i(name);
    if (entry.second != 0) m_knownNames[&name] = &entry;
    return entry.second;
}

void BinaryWriter::Impl::append_i(MsgType type, std::string_view record, std::string_view tail) {
    char* const place = m_buffers[type].extend(record.size() + tail.size());
    packing::putBytes(packing::putBytes(place, record.data(), record.size()), tail.data(), tail.size());
}

void BinaryWriter::Impl::flushBuffers_i(pwr::Logger& handle) {
    std::size_t total = handle.m_buffer.size();
    for (const auto& [type, buffer] : m_buffers) total += buffer.size();
    handle.m_buffer.reserve(total);
    for (auto& [type, buffer] : m_buffers) {
        if (buffer.empty()) continue;
        const std::size_t size = buffer.size();
        buffer.moveTo(handle.m_buffer);
        LOG_INFO_TAG(BINARY_WRITER_TAG, "flushBuffers_i() wrote %zu bytes from buffer %d\n", size,
                     static_cast<int>(type));
    }
}
