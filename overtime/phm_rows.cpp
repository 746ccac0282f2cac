// Rows with the entities of a metric side by side.
#include "overtime/column_titles.h"
#include "overtime/phmwriter_text_plugin.h"
#include "plugins/log.h"

using namespace overtime;

namespace {

constexpr const char* NO_TAG = nullptr;

// The title of an entity's column, less the attribute values of the descriptor.
std::string lateTitle(const pwr::DataElement& element) {
    std::string title = element.getEntity()->getQualifiedName();
    if (element.getDescriptor() != nullptr) title += " " + element.getDescriptor()->getName();
    return title;
}

}  // namespace

std::int32_t PhmTextWriter::writeSampledGeneric(const pwr::Metric& metric, std::uint64_t tableIndex,
                                                Calculations calculation, const pwr::Quantity* quantity,
                                                const std::string& titleSuffix,
                                                const std::string& defaultValue) {
    processMetaData(metric);
    const bool isNew = findTable_i(metric.m_id, tableIndex) == nullptr;
    const std::string title =
        isNew ? metric.m_name + titleSuffix + "\nUnits:" + sampledUnits_i(calculation, quantity)
              : std::string();
    getStore(title, metric.m_id, metric.m_groupName, tableIndex, defaultValue);
    TableInfo& table = *findTable_i(metric.m_id, tableIndex);

    const SampledMessage message =
        sampledMessage_i(metric, tableIndex, calculation, quantity, titleSuffix, defaultValue, NO_TAG);
    const pwr::Metric::Sample& sample = metric.getData();
    Place* const places = m_places.placesOf({metric.m_id, tableIndex}, sample.elements.size());
    std::uint64_t lastTimestamp = 0;
    table.hasDuration = false;
    for (std::size_t i = 0; i < sample.elements.size(); ++i) {
        prefetchAfter(sample.elements, i);
        const pwr::DataElement& element = *sample.elements[i];
        if (!table.columnsReady) {
            try {
                addFixedColumns_i(table);
                addDataColumns_i(metric, table);
            } catch (const std::bad_alloc&) {
                table.dropColumns();
                throw;
            }
            table.columnsReady = true;
            table.sampleCount = 0;
        }
        if (sample.timestamp != lastTimestamp) {
            lastTimestamp = sample.timestamp;
            beginSampledRow_i(table, sample.timestamp);
        }
        Place& place = places[i];
        if (!place.isOf(element.getEntity(), element.getDescriptor()))
            place = {element.getEntity(), element.getDescriptor(), {&table, columnOf_i(element, table)}};
        const std::uint64_t duration = element.getDuration();
        if (calculate_i(message, *element.getValue(), duration) != 0) return 1;
        if (hasWrappedColumns(table)) {
            pushWrapped_i(duration, place.target);
            continue;
        }
        pushDuration_i(duration, table);
        table.store.pushCell(m_cell, place.target.column);
    }
    table.store.rowComplete();
    return 0;
}

// The column of an element, which is added if nobody declared it.
std::uint16_t PhmTextWriter::columnOf_i(const pwr::DataElement& element, TableInfo& table) {
    const std::uint64_t key = dataKeyOf(element.getEntity(), element.getDescriptor());
    if (const std::uint16_t* const column = table.sampled.dataColumns.find(key)) return *column;
    return table.sampled.dataColumns[key] =
               static_cast<std::uint16_t>(table.store.addColumn(lateTitle(element)));
}

void PhmTextWriter::addDataColumns_i(const pwr::Metric& metric, TableInfo& table) const {
    const DeclaredPairs declared(metric);
    for (const pwr::EntityHandle* entity : metric.m_entities) {
        for (const auto& [entityId, descriptor] : declared.of(entity->getId())) {
            const std::uint64_t key = keyOf(entityId, idOf(descriptor));
            if (table.sampled.dataColumns.find(key) != nullptr) continue;
            const std::string title = descriptor != nullptr
                                          ? entity->getQualifiedName() + " " + descriptorTitle(*descriptor)
                                          : std::string();
            table.sampled.dataColumns[key] = static_cast<std::uint16_t>(table.store.addColumn(title));
        }
    }
}

PhmTextWriter::TableInfo* PhmTextWriter::tracedTable_i(const pwr::Metric& metric,
                                                       const pwr::DataElement& element) {
    static const std::string notAvailable = "n/a";
    const pwr::EntityHandle& entity = *element.getEntity();
    const std::uint64_t innerKey = dataKeyOf(&entity, element.getDescriptor());
    const bool isNew = findTable_i(metric.m_id, innerKey) == nullptr;
    const std::string title = isNew ? metric.m_name + " - " + entity.getQualifiedName() +
                                          "\nUnits:" + unitsSuffix(metric.m_quantity)
                                    : std::string();
    getStore(title, metric.m_id, metric.m_groupName, innerKey, notAvailable);
    return findTable_i(metric.m_id, innerKey);
}

std::int32_t PhmTextWriter::writeTracedMetric(const pwr::Metric& metric) {
    static const TracedStyle style{true, NO_TAG};
    processMetaData(metric);
    const pwr::Metric::Sample& sample = metric.getData();
    for (const pwr::DataElement* element : sample.elements) {
        TableInfo& table = *tracedTable_i(metric, *element);
        const pwr::DataDescriptor* const state = stateOf_i(*element->getValue());
        if (state == nullptr) {
            LOG_WARNING("PHM writer plugin: Unable to retrieve DataHandle\n");
            return 1;
        }
        if (!table.columnsReady && addTracedColumns_i(metric, *element, state, table, style) != 0) return 1;
        if (writeTracedRow_i(sample.timestamp, *element, state, table, style) != 0) return 1;
    }
    return 0;
}
