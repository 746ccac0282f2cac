// Rows of traced metrics: a table per entity and descriptor, a row per event.
#include "overtime/column_titles.h"
#include "overtime/int_writer_v2.h"
#include "plugins/log.h"
#include "plugins/value_text.h"
#include "pwr/process.h"

using namespace overtime;

std::int32_t IntWriterV2::writeTracedMetric(const pwr::Metric& metric) {
    static const std::string notAvailable = "n/a";
    static const TracedStyle style{false, TEXT_WRITER_TAG};
    const pwr::Metric::Sample& sample = metric.getData();
    for (const pwr::DataElement* element : sample.elements) {
        const pwr::EntityHandle& entity = *element->getEntity();
        const std::uint64_t innerKey = dataKeyOf(&entity, element->getDescriptor());
        TableInfo* table = findTable_i(metric.m_id, innerKey);
        if (table == nullptr) {
            if (getStore(entityTitle(metric, entity), metric.m_id, innerKey, notAvailable) == nullptr)
                return 1;
            table = findTable_i(metric.m_id, innerKey);
        }
        const pwr::DataDescriptor* const state = stateOf_i(*element->getValue());
        if (!table->columnsReady && addTracedColumns_i(metric, *element, state, *table, style) != 0) return 1;
        if (writeTracedRow_i(sample.timestamp, *element, state, *table, style) != 0) return 1;
    }
    return 0;
}

// The descriptor that a value refers to, or null.
const pwr::DataDescriptor* IntWriterV2::stateOf_i(const pwr::Data& value) {
    const pwr::DataHandle* handle = nullptr;
    if (value.m_type != pwr::DATA_HANDLE || value.toHandle(handle) != 0 || handle == nullptr) return nullptr;
    const auto address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(handle));
    if (const auto* const known = m_stateCache.find(address)) return *known;
    return m_stateCache[address] = dynamic_cast<const pwr::DataDescriptor*>(handle);
}

std::int32_t IntWriterV2::addTracedColumns_i(const pwr::Metric& metric, const pwr::DataElement& element,
                                             const pwr::DataDescriptor* state, TableInfo& table,
                                             const TracedStyle& style) const {
    try {
        return listTracedColumns_i(metric, element, state, table, style);
    } catch (const std::bad_alloc&) {
        table.dropColumns();
        throw;
    }
}

std::int32_t IntWriterV2::listTracedColumns_i(const pwr::Metric& metric, const pwr::DataElement& element,
                                              const pwr::DataDescriptor* state, TableInfo& table,
                                              const TracedStyle& style) const {
    const auto add = [&table](const std::string& title) {
        return static_cast<std::uint16_t>(table.store.addColumn(title));
    };
    const auto addAttribute = [&table, &add](const pwr::Attribute* attribute) {
        if (attribute == nullptr) return;
        const auto id = static_cast<std::uint32_t>(attribute->getId());
        if (table.tracedAttributeColumns.find(id) != nullptr) return;
        table.tracedAttributeColumns[id] = add(attribute->getFieldName());
    };
    table.tracedSampleColumn = add("Sample #");
    table.tracedTimeColumn = add(m_doTimelineTsc ? "Timestamp" : "Continuous Time (ms)");
    if (style.hasEntityColumn) {
        table.tracedEntityColumn = add(nameOf(metric.m_entityHandle));
        table.tracedEntityName = element.getEntity()->getQualifiedName();
    }
    if (element.getDescriptor() != nullptr) table.tracedStateColumn = add(nameOf(metric.m_stateHandle));
    table.tracedValueColumn = add(nameOf(metric.m_valueHandle));
    const auto* const expected = dynamic_cast<const pwr::ExpectedAttributeManager*>(metric.m_valueHandle);
    if (expected != nullptr) {
        for (const pwr::Attribute* attribute : *expected) addAttribute(attribute);
    }
    if (state != nullptr) {
        for (const auto& [attribute, value] : *state) addAttribute(attribute);
    }
    const pwr::DynamicAttributeValueManager* const info = element.getAdditionalInfo();
    if (info != nullptr && addInfoColumns_i(*info, table, style.logTag) != 0) return 1;
    table.tracedDurationColumn = add("Duration (ms)");
    table.columnsReady = true;
    table.sampleCount = 0;
    return 0;
}

std::int32_t IntWriterV2::addInfoColumns_i(const pwr::DynamicAttributeValueManager& info, TableInfo& table,
                                           const char* logTag) const {
    for (const auto& [key, value] : info) {
        const pwr::DataHandle* handle = nullptr;
        if (pwr::DataHandle::get(key, handle) != 0 || handle == nullptr) {
            LOG_WARNING_TAG(logTag, "Failed to process info attribute\n");
            return 1;
        }
        const auto id = static_cast<std::uint32_t>(handle->getId());
        if (table.tracedAttributeColumns.find(id) != nullptr) continue;
        table.tracedAttributeColumns[id] =
            static_cast<std::uint16_t>(table.store.addColumn(handle->getFieldName()));
    }
    return 0;
}

std::int32_t IntWriterV2::writeTracedRow_i(std::uint64_t timestamp, const pwr::DataElement& element,
                                           const pwr::DataDescriptor* state, TableInfo& table,
                                           const TracedStyle& style) {
    BackingStoreWrapper& store = table.store;
    ++table.sampleCount;
    store.pushCell(sampleText_i(table.sampleCount), table.tracedSampleColumn);
    store.pushCell(timeText_i(timestamp, TimeConversionMilliseconds), table.tracedTimeColumn);
    if (style.hasEntityColumn) store.pushCell(table.tracedEntityName, table.tracedEntityColumn);
    if (element.getDescriptor() != nullptr) {
        store.pushCell(element.getDescriptor()->getName(), table.tracedStateColumn);
    }
    m_cell.clear();
    element.getValue()->toFormattedString(m_cell);
    store.pushCell(m_cell, table.tracedValueColumn);
    if (state != nullptr) pushAttributes_i(*state, table.tracedAttributeColumns, store);
    const pwr::DynamicAttributeValueManager* const info = element.getAdditionalInfo();
    if (info != nullptr && pushAdditionalInfo_i(*info, table, style.logTag) != 0) return 1;
    store.pushCell(durationText_i(element.getDuration()), table.tracedDurationColumn);
    store.rowComplete();
    return 0;
}

std::int32_t IntWriterV2::pushAdditionalInfo_i(const pwr::DynamicAttributeValueManager& info,
                                               TableInfo& table, const char* logTag) {
    for (const auto& [key, value] : info) {
        const pwr::DataHandle* attribute = nullptr;
        if (pwr::DataHandle::get(key, attribute) != 0 || attribute == nullptr) {
            LOG_WARNING_TAG(logTag, "Failed to process dynamic attribute\n");
            return 1;
        }
        const pwr::DataHandle* handle = nullptr;
        if (value.toHandle(handle) != 0) return 1;
        if (handle == nullptr) {
            LOG_WARNING_TAG(logTag, "Failed to get handle for dynamic attribute\n");
            return 1;
        }
        const auto* const pair = dynamic_cast<const pwr::NameValuePair*>(handle);
        if (pair == nullptr) {
            LOG_WARNING_TAG(logTag, "Failed to retrieve name for dynamic attribute");
            return 1;
        }
        const auto id = static_cast<std::uint32_t>(attribute->getId());
        table.store.pushCell(pair->getName(), table.tracedAttributeColumns[id]);
    }
    return 0;
}
