// The tables of a run: strings, descriptors, and the descriptions of metrics and of the collection.
#include "binary/binary_writer_impl.h"
#include "binary/record_fields.h"
#include "plugins/log.h"
#include "plugins/value_text.h"

namespace bin = pwr::bin;
using bin::MsgType;
using namespace record_fields;

namespace {

const char* const LIMIT_TEXTS[] = {
    "Note: The binary trace has more than 65535 strings. Their indices begin anew, so some names in it refer "
    "to "
    "the wrong string\n",
    "Note: The binary trace has more than 65535 descriptors. Their indices begin anew, so some states in it "
    "refer to the wrong descriptor\n",
    "Note: The binary trace has a string of more than 65531 bytes. It cannot be read beyond that string\n",
    "Note: The binary trace has a metric with too many attributes and legend values. It cannot be read "
    "beyond "
    "that metric's description\n",
    "Note: The name of the binary trace is cut to 1023 characters\n",
};

}  // namespace

// An entry of 0 counts as missing, so a string whose index is 0 after the counter has begun anew gets another
// one next time.
const BinaryWriter::Impl::StringEntry& BinaryWriter::Impl::internString_i(const std::string& text) {
    StringEntry& entry = *m_stringStore.try_emplace(text, Index{0}).first;
    LOG_INFO_TAG(BINARY_WRITER_TAG, "getStringStoreIndex_i has name = %s, val = %u\n", text.c_str(),
                 static_cast<unsigned>(entry.second));
    if (entry.second != 0) return entry;
    const auto index = static_cast<Index>(m_stringCounter + 1);
    if (index == 0) noteLimit_i(LIMIT_STRING_INDEX);
    createStringStoreMeta_i(text, index);
    m_stringCounter = entry.second = index;
    return entry;
}

void BinaryWriter::Impl::createStringStoreMeta_i(const std::string& text, Index index) {
    putField(m_stringRecord, bin::STRING_INDEX, index);
    putField(m_stringRecord, bin::STRING_LENGTH, static_cast<std::uint16_t>(text.size()));
    setPayloadLength(m_stringRecord, bin::STRING_FIXED_LENGTH + text.size());
    if (text.size() > bin::MAX_STRING_LENGTH) noteLimit_i(LIMIT_STRING_LENGTH);
    append_i(MsgType::StringStore, viewOf(m_stringRecord), text);
}

bin::Index BinaryWriter::Impl::getDescriptorIdx_i(const pwr::DataDescriptor* descriptor) {
    if (descriptor == nullptr) return 0;
    if (const KnownDescriptor* const known = m_knownDescriptors.find(descriptor); known != nullptr)
        return known->index;
    Index& entry = m_descriptorIndices[descriptor];
    if (entry == 0) {
        const auto index = static_cast<Index>(m_descriptorCounter + 1);
        if (index == 0) noteLimit_i(LIMIT_DESCRIPTOR_INDEX);
        createDescriptorMeta_i(*descriptor, index);
        m_descriptorCounter = entry = index;
    }
    if (entry != 0) m_knownDescriptors[descriptor] = {entry, 0};
    return entry;
}

void BinaryWriter::Impl::createDescriptorMeta_i(const pwr::DataDescriptor& descriptor, Index index) {
    std::string state;
    getFirstDataAttributeAsString(&descriptor, &state);
    putField(m_descriptorRecord, bin::DESCRIPTOR_INDEX, index);
    putField(m_descriptorRecord, bin::DESCRIPTOR_STATE, getStringStoreIdx_i(state));
    putField(m_descriptorRecord, bin::DESCRIPTOR_NAME, getStringStoreIdx_i(descriptor.getName()));
    append_i(MsgType::DescriptorMeta, viewOf(m_descriptorRecord));
}

void BinaryWriter::Impl::createSystemMeta_i(const pwr::SystemMetadata& metadata) {
    std::vector<char>& record = m_systemRecord;
    const auto putName = [&](std::size_t field, const std::string& name) {
        putField(record, field, getStringStoreIdx_i(name));
    };
    const auto putCount = [&](std::size_t field, std::size_t count) {
        putField(record, field, static_cast<std::uint16_t>(count));
    };
    putField(record, bin::SYSTEM_START, metadata.m_collectionStart);
    putField(record, bin::SYSTEM_STOP, metadata.m_collectionStop);
    putField(record, bin::SYSTEM_DURATION, static_cast<float>(metadata.getCollectionDurationSec()));
    putField(record, bin::SYSTEM_HFM_FREQUENCY, metadata.m_hfmFrequency);
    putField(record, bin::SYSTEM_LFM_FREQUENCY, metadata.m_lfmFrequency);
    putField(record, bin::SYSTEM_CPU_FREQUENCY, metadata.m_cpuFrequency);
    putField(record, bin::SYSTEM_BUS_FREQUENCY, metadata.m_busFrequency);
    putField(record, bin::SYSTEM_PLATFORM_ID, metadata.m_platformId);
    putName(bin::SYSTEM_PLATFORM_NAME, metadata.m_platformName);
    putName(bin::SYSTEM_CPU_NAME, metadata.getFormattedCPUCodeName());
    putName(bin::SYSTEM_CPU_NATIVE_NAME, metadata.getCPUNativeModelName(metadata.m_cpu.model));
    putName(bin::SYSTEM_PCH_NAME, metadata.getFormattedPCHDeviceNamesStr(metadata.m_platformName));
    putName(bin::SYSTEM_HOST_NAME, metadata.m_hostName);
    putCount(bin::SYSTEM_PACKAGES, metadata.m_topology.getNumPackages());
    putCount(bin::SYSTEM_MODULES, metadata.m_topology.getNumModules());
    putCount(bin::SYSTEM_CORES, metadata.m_topology.getNumCores());
    putCount(bin::SYSTEM_THREADS, metadata.m_topology.getNumThreads());
    // In this order, which decides the indices of new strings.
    putName(bin::SYSTEM_OS_NAME_AGAIN, metadata.m_osName);
    putName(bin::SYSTEM_OS_TYPE, metadata.m_osType);
    putName(bin::SYSTEM_OS_NAME, metadata.m_osName);
    append_i(MsgType::SystemMeta, viewOf(record));
}

void BinaryWriter::Impl::createMetricMeta_i(const pwr::Metric& metric) {
    putField(m_metricRecord, bin::METRIC_ID, metric.m_id);
    putField(m_metricRecord, bin::METRIC_GROUP, getStringStoreIdx_i(metric.m_groupName));
    putField(m_metricRecord, bin::METRIC_NAME, getStringStoreIdx_i(metric.m_name));
    putField(m_metricRecord, bin::METRIC_TYPE, getStringStoreIdx_i(getTypeString(metric.m_metricType)));
    // Without a quantity these fields keep what the metric before left in them: the format has it so.
    if (const pwr::Quantity* const quantity = metric.m_quantity; quantity != nullptr) {
        putField(m_metricRecord, bin::METRIC_QUANTITY_NAME,
                 getStringStoreIdx_i(quantity->toQuantityString()));
        putField(m_metricRecord, bin::METRIC_UNITS, getStringStoreIdx_i(quantity->toUnitsString()));
        putField(m_metricRecord, bin::METRIC_HAS_QUANTITY, std::uint16_t{1});
    }

    std::vector<char> lists;
    for (const auto& [handle, descriptor] : metric.m_attributeDescriptors) {
        appendField(lists, getStringStoreIdx_i(handle != nullptr ? handle->getName() : std::string()));
        appendField(lists, getDescriptorIdx_i(descriptor));
    }
    std::string text;
    for (const pwr::Data& legend : metric.m_legendValues) {
        text.clear();
        legend.toFormattedString(text);
        appendField(lists, getStringStoreIdx_i(text));
    }
    putField(m_metricRecord, bin::METRIC_ATTRIBUTE_COUNT,
             static_cast<std::uint16_t>(metric.m_attributeDescriptors.size()));
    putField(m_metricRecord, bin::METRIC_LEGEND_COUNT,
             static_cast<std::uint16_t>(metric.m_legendValues.size()));
    setPayloadLength(m_metricRecord, bin::METRIC_FIXED_LENGTH + lists.size());
    if (bin::METRIC_FIXED_LENGTH + lists.size() > bin::MAX_U16) noteLimit_i(LIMIT_METRIC_LENGTH);
    append_i(MsgType::MetricMeta, viewOf(m_metricRecord), viewOf(lists));
}

void BinaryWriter::Impl::noteLimit_i(Limit limit) {
    if (!m_notedLimits.test(limit)) LOG_NOTE("%s", LIMIT_TEXTS[limit]);
    m_notedLimits.set(limit);
}
