// Info metadata, and the metadata of metrics with their groups and quantities.
#include <utility>
#include <vector>

#include "import/vyrta_log.h"
#include "import/vyrtawriter_plugin.h"
#include "plugins/packing.h"
#include "pwr/utilities.h"

using namespace vyrta;

namespace {

// Fresh ids are those of attributes that nothing else uses. Their names tell the host what the id is for.
const char INFO_TYPE_INFO[] = "info_type_info";

bool contains(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

// The metrics that share the C-state timeline; those that share the C-state tab are more.
bool isOnCstateTimeline(const std::string& name) {
    return contains(name, "Wakeups") || name == "Aborts" || contains(name, "Core C-State");
}

bool isOnCstateTab(const std::string& name) {
    return isOnCstateTimeline(name) || contains(name, "VM Residency") || contains(name, "Package C-State") ||
           contains(name, "Module C-State");
}

bool isOnTemperatureTab(const std::string& name) {
    return contains(name, "Temperature") || contains(name, "temperature") || contains(name, "Thermals") ||
           contains(name, "thermals");
}

bool isOnPowerTab(const std::string& name) {
    return contains(name, "Power") || contains(name, "power");
}

std::string idText(long id) {
    return pwr::to_string<long>(id);
}

int writeGroup(VyrtaWriter& writer, const char* kind, const std::string& longName,
               const std::string& shortName, unsigned long metricId, unsigned long id, long parentId) {
    const long typeId = writer.getInfoTypeMetadataId(kind);
    if (typeId == -1) return 1;
    return writer.writeInfoMetadataHelper(kind, static_cast<unsigned long>(typeId), longName, shortName,
                                          std::string(kind) + "_id", static_cast<long>(metricId), id,
                                          parentId);
}

// Writes a group that several metrics share, for the first of them. A failed group keeps its id, so that it
// is not written again.
int writeSharedGroup(VyrtaWriter& writer, const char* kind, const std::string& longName,
                     const std::string& shortName, unsigned long metricId, std::uint64_t& id, long parentId) {
    if (id != VyrtaWriter::UNWRITTEN_GROUP) return 0;
    id = drawId(INFO_TYPE_INFO);
    return writeGroup(writer, kind, longName, shortName, metricId, id, parentId);
}

// Defines a quantity after its rate quantity, if that could be defined.
int defineQuantity(VyrtaWriter& writer, const pwr::Quantity& quantity, double multiplier, long rateId,
                   bool hasRate) {
    const unsigned int type = VyrtaWriter::getVyrtaQuantityType(quantity.toQuantity());
    const unsigned long id = quantity.getId();
    const std::string& name = quantity.toQuantityString();
    const std::string& hostUnits = quantity.toUnitsString();
    const std::string units = hostUnits == "%" ? "percent" : hostUnits;
    if (!hasRate)
        return VYRTA_FAIL(
            "Failed to handle rate quantity metadata for quantity name:'%s' units:'%s' type:'%d' uid:'%lu' "
            "rate uid:'%s' multiplier:'%f'.\n",
            name.c_str(), units.c_str(), type, id, idText(rateId).c_str(), multiplier);
    if (writer.writeQuantityMetadata(name, name, units, type, id, rateId, multiplier) != 0)
        return VYRTA_FAIL(
            "Failed to write quantity metadata name:'%s' units:'%s' type:'%d' uid:'%lu' rate uid:'%s' "
            "multiplier:'%f'.\n",
            name.c_str(), units.c_str(), type, id, idText(rateId).c_str(), multiplier);
    VYRTA_DEBUG(
        "Wrote quantity metadata name:'%s' units:'%s' type:'%d' uid:'%lu' rate uid:'%s' multiplier:'%f'.\n",
        name.c_str(), units.c_str(), type, id, idText(rateId).c_str(), multiplier);
    return 0;
}

}  // namespace

std::string VyrtaWriter::getNameIdKey(const std::string& name, unsigned long id) {
    return name + "_" + std::to_string(id);
}

unsigned long VyrtaWriter::getUniqueId(const std::string& name) {
    const auto found = m_names.find(name);
    if (found != m_names.end()) return found->second;
    return m_names[name] = drawId("name_id");
}

unsigned int VyrtaWriter::getVyrtaQuantityType(pwr::QuantityType type) {
    return type <= pwr::QUANTITY_LAST_VALID ? type : pwr::QUANTITY_NONE;
}

long VyrtaWriter::getInfoTypeMetadataId(const std::string& name) {
    static long s_nextInfoTypeId = 1;

    const auto found = m_infoTypes.find(name);
    if (found != m_infoTypes.end()) return static_cast<long>(found->second);
    const long typeId = s_nextInfoTypeId++;
    const unsigned long id = drawId(INFO_TYPE_INFO);
    if (writeInfoMetadataHelper("info_type", 0, name, name, "info_type_id", typeId, id, -1) != 0) {
        VYRTA_WARNING("Failed to write info type metadata for '%s'.\n", name.c_str());
        return -1;
    }
    m_infoTypes[name] = static_cast<std::uint64_t>(typeId);
    return typeId;
}

// Info metadata, 45 bytes and the four texts:
//
//   Offset  Width  Value
//   0       u32    0x02400010
//   4       u64    0
//   12      u16    sum of the texts' lengths plus 33
//   14      u32    0x00070048
//   18      u16    format version
//   20      u32    info type id, 0 in the records that define an info type
//   24      u32    value
//   28      u32    parent id, all ones for none
//   32      u32    id of this record
//   36      u16    length of the long name
//   38      u16    length of the short name
//   40      u16    length of the info type's name
//   42      u16    length of the description
//   44      bytes  long name, short name, info type's name, description, NUL
int VyrtaWriter::writeInfoMetadataHelper(const std::string& name, unsigned long infoTypeId,
                                         const std::string& longName, const std::string& shortName,
                                         const std::string& description, long value, unsigned long id,
                                         long parentId) {
    // Made before the key is entered: when memory runs out here, the record is not taken for written.
    const std::string names = longName + shortName + name + description;
    std::string key = "infotype:" + name + "_longname:" + longName + "_shortname:" + shortName +
                      "_description:" + description + "_value:" + std::to_string(value) +
                      "_uid:" + std::to_string(id) + "_parent_uid:" + std::to_string(parentId);
    if (!m_infoRecords.try_emplace(std::move(key), static_cast<std::uint64_t>(value)).second) {
        VYRTA_DEBUG("Info metadata for '%s' already written, skipping...\n", longName.c_str());
        return 0;
    }
    VYRTA_DEBUG("Processing info metadata for '%s'.\n", longName.c_str());

    if (names.size() + 1 > MAXIMUM_NAMES_SIZE) {
        m_isTextTooLong = true;
        return VYRTA_FAIL("Info names string too long\n");
    }
    char record[METADATA_HEAD_SIZE + MAXIMUM_NAMES_SIZE];
    const std::size_t size = METADATA_HEAD_SIZE + names.size() + 1;
    char* out = packing::put(record, HEAD_TIMED);
    out = packing::put<std::uint64_t>(out, 0);
    out = packing::put(out, static_cast<std::uint16_t>(size - TIMED_LENGTH_AT));
    out = packing::put(out, TAG_INFO_METADATA);
    out = packing::put(out, formatVersion(m_legacyFormat));
    out = packing::put(out, static_cast<std::uint32_t>(infoTypeId));
    out = packing::put(out, static_cast<std::uint32_t>(value));
    out = packing::put(out, static_cast<std::uint32_t>(parentId));
    out = packing::put(out, static_cast<std::uint32_t>(id));
    out = packing::put(out, static_cast<std::uint16_t>(longName.size()));
    out = packing::put(out, static_cast<std::uint16_t>(shortName.size()));
    out = packing::put(out, static_cast<std::uint16_t>(name.size()));
    out = packing::put(out, static_cast<std::uint16_t>(description.size()));
    packing::putBytes(out, names.c_str(), names.size() + 1);
    return writeRecord(m_systemStoreId, record, static_cast<unsigned int>(size));
}

int VyrtaWriter::writeMetricTypeMetadata() {
    static const struct {
        std::uint16_t metricClass;
        const char* longName;
        const char* shortName;
    } rows[] = {
        {METRIC_CLASS_SAMPLED_FINITE_SET_COUNTER, "Sampled Finite Set Counter", "SFSC"},
        {METRIC_CLASS_SAMPLED_VALUE, "Sampled Value", "SV"},
        {METRIC_CLASS_SAMPLED_FINITE_SET_VALUE, "Sampled Finite Set Value", "SFSV"},
        {METRIC_CLASS_TRACED_FINITE_SET_COUNTER, "Traced Finite Set Counter", "TFSC"},
        {METRIC_CLASS_SAMPLED_COUNTER, "Sampled Counter", "SC"},
        {METRIC_CLASS_TRACED_EVENT, "Traced Event", "TE"},
    };

    const long typeId = getInfoTypeMetadataId("metric_type");
    if (typeId == -1) return 1;
    int failed = 0;
    const char* idName = "metric_type_info";
    for (const auto& row : rows) {
        const unsigned long id = drawId(idName);
        idName = "info";
        failed |= writeInfoMetadataHelper("metric_type", static_cast<unsigned long>(typeId), row.longName,
                                          row.shortName, "metric_type_id", row.metricClass, id, -1);
        m_metricTypes[row.metricClass] = id;
    }
    if (failed != 0) VYRTA_WARNING("Failed to write metric type metadata.\n");
    return failed;
}

int VyrtaWriter::writeTabGroupMetadata(const std::string& name, const std::string& displayName,
                                       unsigned long metricId, unsigned long& tabGroupId) {
    if (getInfoTypeMetadataId("tab_group") == -1) return 1;
    const auto share = [&](const char* title, std::uint64_t& id) {
        if (writeSharedGroup(*this, "tab_group", title, title, metricId, id, -1) != 0) return 1;
        tabGroupId = m_tabGroups[metricId] = id;
        return 0;
    };
    if (isOnCstateTab(name)) return share("C-State Residency/Wakeups", m_cstateTabGroupId);
    if (isOnTemperatureTab(name)) return share("Temperature Metrics", m_temperatureTabGroupId);
    if (isOnPowerTab(name)) return share("Power Metrics", m_powerTabGroupId);

    const unsigned long id = drawId(INFO_TYPE_INFO);
    if (writeGroup(*this, "tab_group", name, displayName, metricId, id, -1) != 0) return 1;
    tabGroupId = m_tabGroups[metricId] = id;
    return 0;
}

int VyrtaWriter::writeTimelineGroupMetadata(const std::string& name, const std::string& displayName,
                                            unsigned long metricId, unsigned long tabGroupId) {
    if (getInfoTypeMetadataId("timeline_group") == -1) return 1;
    const long parentId = static_cast<long>(tabGroupId);
    if (isOnCstateTimeline(name)) {
        std::uint64_t& id = m_cstateTimelineGroupId;
        if (writeSharedGroup(*this, "timeline_group", name, displayName, metricId, id, parentId) != 0)
            return 1;
        m_timelineGroups[metricId] = id;
        return 0;
    }
    const unsigned long id = drawId(INFO_TYPE_INFO);
    if (writeGroup(*this, "timeline_group", name, displayName, metricId, id, parentId) != 0) return 1;
    m_timelineGroups[metricId] = id;
    return 0;
}

int VyrtaWriter::handleQuantityMetadata(const pwr::Quantity* quantity, long& id) {
    std::vector<std::pair<const pwr::Quantity*, double>> chain;  // each with the factor to its rate
    while (quantity != nullptr) {
        const pwr::Quantity* rate = nullptr;
        double multiplier = 0;
        if (quantity->getRateConversion(rate, multiplier) != 0) {
            LOG_WARNING("Rate Quantity not specified for %s\n", quantity->toQuantityString().c_str());
            rate = nullptr;
            multiplier = 0;
        }
        chain.emplace_back(quantity, multiplier);
        quantity = rate;
    }
    id = -1;
    int status = 0;
    for (auto next = chain.rbegin(); next != chain.rend(); ++next) {
        status = defineQuantity(*this, *next->first, next->second, id, status == 0);
        id = static_cast<long>(next->first->getId());
    }
    return status;
}

int VyrtaWriter::writeQuantityMetadata(const std::string& name, const std::string& displayName,
                                       const std::string& units, unsigned int type, unsigned long id,
                                       long rateId, double multiplier) {
    const long typeId = getInfoTypeMetadataId("quantity");
    if (typeId == -1) return 1;
    const std::string longName = name + "|" + units + "|" + pwr::to_string<double>(multiplier);
    if (writeInfoMetadataHelper("quantity", static_cast<unsigned long>(typeId), longName, displayName,
                                "quantity_type", type, id, rateId) != 0)
        return 1;
    m_quantities[id] = id;
    return 0;
}

int VyrtaWriter::handleMetricMetadata(const pwr::Metric* metric, unsigned short* metricClass) {
    const pwr::Quantity* quantity = metric->m_quantity;
    if (metric->m_metricType == pwr::Metric::SAMPLED_VALUE) {
        if (*metricClass != METRIC_CLASS_SAMPLED_FINITE_SET_VALUE) *metricClass = METRIC_CLASS_SAMPLED_VALUE;
        return handleMetricMetadataHelper(metric->m_id, *metricClass, metric->m_name, metric->m_name,
                                          quantity);
    }
    if (*metricClass == METRIC_CLASS_SAMPLED_FINITE_SET_VALUE)
        return VYRTA_FAIL("Wrong metric type used for metric '%s'.\n", metric->m_name.c_str());
    switch (metric->m_metricType) {
        case pwr::Metric::SAMPLED_DELTA:
            *metricClass = METRIC_CLASS_SAMPLED_COUNTER;
            break;
        case pwr::Metric::SAMPLED_RESIDENCY:
            *metricClass = METRIC_CLASS_SAMPLED_FINITE_SET_COUNTER;
            break;
        case pwr::Metric::TRACED_VALUE_TRANSITION:
            *metricClass = METRIC_CLASS_TRACED_FINITE_SET_COUNTER;
            quantity = pwr::Quantity::time();
            break;
        case pwr::Metric::TRACED_EVENT:
            *metricClass = METRIC_CLASS_TRACED_EVENT;
            break;
        default:
            *metricClass = METRIC_CLASS_UNKNOWN;
            VYRTA_INFO("Metric type <%u> currently not supported for Vyrta output.\n", metric->m_metricType);
            break;
    }
    return handleMetricMetadataHelper(metric->m_id, *metricClass, metric->m_name, metric->m_name, quantity);
}

int VyrtaWriter::handleMetricMetadataHelper(unsigned long metricId, unsigned short metricClass,
                                            const std::string& name, const std::string& displayName,
                                            const pwr::Quantity* quantity) {
    if (m_processedMetrics.count(static_cast<std::int64_t>(metricId)) != 0) return 0;

    unsigned long tabGroupId = 0;
    if (writeTabGroupMetadata(name, displayName, metricId, tabGroupId) != 0)
        return VYRTA_FAIL("Failed to write tab group metadata '%s:%lu'.\n", name.c_str(), metricId);
    VYRTA_DEBUG("Wrote tab group metadata '%s:%lu'.\n", name.c_str(), metricId);
    if (writeTimelineGroupMetadata(name, displayName, metricId, tabGroupId) != 0)
        return VYRTA_FAIL("Failed to write timeline group metadata '%s:%lu'.\n", name.c_str(), metricId);
    VYRTA_DEBUG("Wrote timeline group metadata '%s:%lu'.\n", name.c_str(), metricId);
    long quantityId = -1;
    if (handleQuantityMetadata(quantity, quantityId) != 0)
        return VYRTA_FAIL("Failed to create quantity metadata for metric '%s'.\n", name.c_str());
    if (writeMetricMetadata(name, displayName, metricId, metricClass, quantityId, metricId, metricId) != 0)
        return VYRTA_FAIL("Failed to write metric metadata for metric '%s'.\n", name.c_str());
    m_processedMetrics[static_cast<std::int64_t>(metricId)] = name;
    return 0;
}

// Metric metadata, 45 bytes and the two names:
//
//   Offset  Width  Value
//   0       u32    0x02400010
//   4       u64    0
//   12      u16    sum of the names' lengths plus 33
//   14      u32    0x00080048
//   18      u16    format version
//   20      u32    metric class
//   24      u32    metric id
//   28      u32    quantity id, all ones for none
//   32      u32    tab group id
//   36      u32    timeline group id
//   40      u16    length of the name
//   42      u16    length of the display name
//   44      bytes  name, display name, NUL
int VyrtaWriter::writeMetricMetadata(const std::string& name, const std::string& displayName,
                                     unsigned long metricId, unsigned short metricClass, long quantityId,
                                     unsigned long tabKey, unsigned long timelineKey) {
    const std::string names = name + displayName;
    if (names.size() + 1 > MAXIMUM_NAMES_SIZE) {
        m_isTextTooLong = true;
        return VYRTA_FAIL("Metric name too long.\n");
    }
    std::uint64_t quantity = NO_ID;
    if (quantityId != -1) {
        const auto found = m_quantities.find(static_cast<std::uint64_t>(quantityId));
        if (found == m_quantities.end())
            return VYRTA_FAIL("Quantity metadata needs to be processed first.\n");
        quantity = found->second;
    }
    const auto tabGroup = m_tabGroups.find(tabKey);
    if (tabGroup == m_tabGroups.end()) return VYRTA_FAIL("Tab group metadata needs to be processed first.\n");
    const auto timelineGroup = m_timelineGroups.find(timelineKey);
    if (timelineGroup == m_timelineGroups.end())
        return VYRTA_FAIL("Timeline group metadata needs to be processed first.\n");
    VYRTA_DEBUG(
        "Processing metric metadata for metric %s, metric ID: %lu, metric type: %d, quantity: %d, metric tab "
        "group: %lu, metric timeline group: %lu.\n",
        name.c_str(), metricId, metricClass, static_cast<int>(quantityId), tabGroup->second,
        timelineGroup->second);

    char record[METADATA_HEAD_SIZE + MAXIMUM_NAMES_SIZE];
    const std::size_t size = METADATA_HEAD_SIZE + names.size() + 1;
    char* out = packing::put(record, HEAD_TIMED);
    out = packing::put<std::uint64_t>(out, 0);
    out = packing::put(out, static_cast<std::uint16_t>(size - TIMED_LENGTH_AT));
    out = packing::put(out, TAG_METRIC_METADATA);
    out = packing::put(out, formatVersion(m_legacyFormat));
    out = packing::put<std::uint32_t>(out, metricClass);
    out = packing::put(out, static_cast<std::uint32_t>(metricId));
    out = packing::put(out, static_cast<std::uint32_t>(quantity));
    out = packing::put(out, static_cast<std::uint32_t>(tabGroup->second));
    out = packing::put(out, static_cast<std::uint32_t>(timelineGroup->second));
    out = packing::put(out, static_cast<std::uint16_t>(name.size()));
    out = packing::put(out, static_cast<std::uint16_t>(displayName.size()));
    packing::putBytes(out, names.c_str(), names.size() + 1);
    return writeRecord(metricId, record, static_cast<unsigned int>(size));
}
