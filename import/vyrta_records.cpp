// Framing of records, and how they reach the block that they belong to.
#include <algorithm>
#include <bit>

#include "import/once_tags.h"
#include "import/vyrta_log.h"
#include "import/vyrtawriter_plugin.h"
#include "plugins/numbers.h"
#include "plugins/packing.h"
#include "pwr/utilities.h"

using namespace vyrta;

namespace {

std::map<std::uint32_t, std::string> ATTRIBUTE_NAMES;
const std::string UNKNOWN_METRIC_NAME = "unknown_metric";

// For debug lines only.
const char* attributeName(std::uint32_t type) {
    const auto found = ATTRIBUTE_NAMES.find(type);
    return found != ATTRIBUTE_NAMES.end() ? found->second.c_str() : "";
}

}  // namespace

void createAttributeMap() {
    static const char* const names[] = {
        "METRIC          ", "ENTITY          ", "FIELD           ", "PROCESS         ", "THREAD          ",
        "CALL_STACK_FRAME", "QUANTITY        ", "COLOR           ", "INFO            ", "INT             ",
        "UINT            ", "REAL            ", "INT_LOWER_BOUND ", "INT_UPPER_BOUND ", "UINT_LOWER_BOUND",
        "UINT_UPPER_BOUND", "REAL_LOWER_BOUND", "REAL_UPPER_BOUND", "DURATION        "};
    std::uint32_t type = 0;
    for (const char* name : names) ATTRIBUTE_NAMES.try_emplace(type++, name);
}

std::string VyrtaWriter::storeName_i(unsigned long storeId) const {
    const auto found = m_metricNames.find(storeId);
    if (found != m_metricNames.end()) return found->second;
    return UNKNOWN_METRIC_NAME + " " + std::to_string(storeId);
}

VyrtaBackingStoreManager* VyrtaWriter::getStore_i(unsigned long storeId) {
    // The name matters only to a store that is yet to be made.
    VyrtaBackingStoreManager* manager = m_impl->findBackingStore(storeId);
    if (manager == nullptr) manager = m_impl->getBackingStore(storeName_i(storeId), storeId);
    if (manager == nullptr) m_impl->m_valid = false;
    return manager;
}

int VyrtaWriter::writeRecord(unsigned long storeId, const char* buffer, unsigned int size) {
    if (!m_impl->m_valid) return 1;
    VyrtaBackingStoreManager* const manager = getStore_i(storeId);
    if (manager == nullptr || !manager->m_valid) return 1;
    if (manager->pushBuffer_i(buffer, size) == 0) return 0;
    // The block can hold a part of the record now, so that nothing behind it could be read.
    manager->m_valid = false;
    return 1;
}

void VyrtaWriter::setInvalidTempFile(unsigned long key) {
    if (VyrtaBackingStoreManager* const manager = getStore_i(key)) manager->m_valid = false;
}

std::uint16_t VyrtaWriter::formatVersion_i() const {
    return m_legacyFormat ? VERSION_TRUNCATED_REALS : VERSION_REAL_BITS;
}

std::uint64_t VyrtaWriter::encodeReal_i(double value) const {
    return m_legacyFormat ? truncateSaturated<std::uint64_t>(value) : std::bit_cast<std::uint64_t>(value);
}

int VyrtaWriter::addAttributeToRecord(unsigned int type, unsigned long value, ZT2AttributeList* list) {
    if (list == nullptr) return VYRTA_FAIL("Invalid attribute list.\n");
    if (list->count >= MAXIMUM_ATTRIBUTE_COUNT)
        return VYRTA_FAIL("Maximum attribute count '%d' exceeded.\n", MAXIMUM_ATTRIBUTE_COUNT);
    pwr::executeOnce<ONCE_ATTRIBUTE_COUNT_NOTE>([list] {
        if (list->count >= 256)
            LOG_NOTE(
                "Note: The generated .pwr result file can only be imported in Vyrta(TM) 2018 Update 2 or "
                "later.\n");
    });
    VYRTA_DEBUG("Adding 'type: %s value: %lu' to record at [%d].\n", attributeName(type), value, list->count);
    list->types[list->count] = type;
    list->values[list->count] = value;
    ++list->count;
    return 0;
}

int VyrtaWriter::writeZT2Record(unsigned long tsc, unsigned long metricId, const ZT2AttributeList* list) {
    if (list == nullptr) return VYRTA_FAIL("Invalid attribute list.\n");
    if (list->count > MAXIMUM_ATTRIBUTE_COUNT)
        return VYRTA_FAIL("Maximum attribute count '%d' exceeded.\n", MAXIMUM_ATTRIBUTE_COUNT);
    const bool isVerbose = isLogged(LogLevel::Debug);
    if (isVerbose)
        VYRTA_DEBUG("Writing ZT2 record. Metric: %s. TSC: %lu.\n", storeName_i(metricId).c_str(), tsc);

    char record[SAMPLE_HEAD_SIZE + ATTRIBUTE_SIZE * MAXIMUM_ATTRIBUTE_COUNT];
    const std::size_t size = SAMPLE_HEAD_SIZE + ATTRIBUTE_SIZE * list->count;
    char* out = packing::put(record, HEAD_TIMED);
    out = packing::put<std::uint64_t>(out, tsc);
    out = packing::put(out, static_cast<std::uint16_t>(size - TIMED_LENGTH_AT));
    out = packing::put(out, TAG_SAMPLE);
    out = packing::put(out, formatVersion_i());
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
