// Framing of records, and how they reach the block that they belong to.
#include "import/once_tags.h"
#include "import/vyrta_log.h"
#include "import/vyrtawriter_plugin.h"
#include "plugins/packing.h"
#include "pwr/utilities.h"

using namespace vyrta;

namespace {

const std::string UNKNOWN_METRIC_NAME = "unknown_metric";

std::string storeName(const VyrtaWriter& writer, unsigned long storeId) {
    const auto found = writer.m_metricNames.find(storeId);
    if (found != writer.m_metricNames.end()) return found->second;
    return UNKNOWN_METRIC_NAME + " " + std::to_string(storeId);
}

}  // namespace

VyrtaBackingStoreManager* VyrtaWriter::getStore_i(unsigned long storeId) {
    // The name matters only to a store that is yet to be made.
    VyrtaBackingStoreManager* manager = m_impl->findBackingStore(storeId);
    if (manager == nullptr) manager = m_impl->getBackingStore(storeName(*this, storeId), storeId);
    if (manager == nullptr) m_impl->m_valid = false;
    return manager;
}

int VyrtaWriter::writeRecord(unsigned long storeId, const char* buffer, unsigned int size) {
    if (!m_impl->m_valid) return 1;
    VyrtaBackingStoreManager* const manager = getStore_i(storeId);
    if (manager == nullptr || !manager->m_valid) return 1;
    if (manager->pushBuffer_i(buffer, size) == 0) return 0;
    // The block can hold a part of the record now, so that nothing after it could be read.
    manager->m_valid = false;
    return 1;
}

void VyrtaWriter::setInvalidTempFile(unsigned long key) {
    if (VyrtaBackingStoreManager* const manager = getStore_i(key)) manager->m_valid = false;
}

int VyrtaWriter::writeZT2Record(unsigned long tsc, unsigned long metricId, const ZT2AttributeList* list) {
    if (list == nullptr) return VYRTA_FAIL("Invalid attribute list.\n");
    if (list->count > MAXIMUM_ATTRIBUTE_COUNT)
        return VYRTA_FAIL("Maximum attribute count '%d' exceeded.\n", MAXIMUM_ATTRIBUTE_COUNT);
    const bool isVerbose = isLogged(LogLevel::Debug);
    if (isVerbose)
        VYRTA_DEBUG("Writing ZT2 record. Metric: %s. TSC: %lu.\n", storeName(*this, metricId).c_str(), tsc);

    char record[SAMPLE_HEAD_SIZE + ATTRIBUTE_SIZE * MAXIMUM_ATTRIBUTE_COUNT];
    const std::size_t size = SAMPLE_HEAD_SIZE + ATTRIBUTE_SIZE * list->count;
    char* out = packing::put(record, HEAD_TIMED);
    out = packing::put<std::uint64_t>(out, tsc);
    out = packing::put(out, static_cast<std::uint16_t>(size - TIMED_LENGTH_AT));
    out = packing::put(out, TAG_SAMPLE);
    out = packing::put(out, formatVersion(m_legacyFormat));
    out = packing::put(out, static_cast<std::uint16_t>(list->count));
    for (std::uint32_t i = 0; i < list->count; ++i) {
        if (isVerbose) VYRTA_DEBUG("\tType: %s Value: %lu\n", attributeName(list->types[i]), list->values[i]);
        out = packing::put(out, list->types[i]);
        out = packing::put(out, list->values[i]);
    }
    if (isVerbose) VYRTA_DEBUG("Size of zt2 record is: %lu bytes.\n", size);

    if (writeRecord(metricId, record, static_cast<unsigned int>(size)) != 0) return 1;
    pwr::executeOnce<ONCE_SAMPLE_WRITTEN>([] { VyrtaWriterImpl::m_hasData = true; });
    return 0;
}

// The magic record:
//
//   Offset  Width  Value
//   0       u64    0xADDEDEFA08000000
int VyrtaWriter::writeMagicRecord() {
    char record[MAGIC_SIZE];
    packing::put(record, MAGIC);
    return writeRecord(m_systemStoreId, record, sizeof record);
}
