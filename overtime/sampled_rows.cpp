// Rows of sampled metrics: a table per entity, a row per sample.
#include "overtime/column_titles.h"
#include "overtime/int_writer_v2.h"
#include "plugins/log.h"

using namespace overtime;

namespace {

// So many that what their rows need is no longer in the processor's nearer caches.
constexpr std::size_t MANY_TABLES = 512;

}  // namespace

IntWriterV2::SampledMessage IntWriterV2::sampledMessage_i(const pwr::Metric& metric, std::uint64_t tableIndex,
                                                          Calculations calculation,
                                                          const pwr::Quantity* quantity,
                                                          const std::string& titleSuffix,
                                                          const std::string& defaultValue,
                                                          const char* logTag) const {
    SampledMessage message{metric,   tableIndex,  calculation,  calculateOf_i(calculation),
                           quantity, titleSuffix, defaultValue, logTag,
                           true,     1.0};
    if (calculation == CalculationInstantaneousRate && metric.m_quantity != nullptr) {
        const pwr::Quantity* rateQuantity = nullptr;
        message.hasRate = metric.m_quantity->getRateConversion(rateQuantity, message.rateFactor) == 0;
    }
    return message;
}

std::string IntWriterV2::sampledUnits_i(Calculations calculation, const pwr::Quantity* quantity) {
    if (calculation == CalculationResidencyPercentage) return " (%)";
    if (calculation == CalculationResidencyTime) return " (usec)";
    return unitsSuffix(quantity);
}

// A part of its one caller's loop, as all elements pass here.
[[gnu::always_inline]] inline std::int32_t IntWriterV2::writeSampledElement_i(const SampledMessage& message,
                                                                              std::uint64_t timestamp,
                                                                              const pwr::DataElement& element,
                                                                              Place& place) {
    const pwr::EntityHandle* const entity = element.getEntity();
    if (!place.isOf(entity, element.getDescriptor()) && !findPlace_i(message, element, place)) return 1;
    TableInfo& table = *place.target.table;
    if (table.lastMessage != m_messageCount) {
        table.lastMessage = m_messageCount;
        table.hasDuration = false;
        beginSampledRow_i(table, timestamp);
        m_order.add(table);
    }
    const std::uint64_t duration = element.getDuration();
    if (calculate_i(message, *element.getValue(), duration) != 0) return 1;
    const bool isWrapped = hasWrappedColumns(table);
    if (isWrapped) pushWrapped_i(duration, place.target);
    if (!isWrapped) pushDuration_i(duration, table);
    if (message.metric.m_hasEntityAttributes) {
        pushAttributes_i(*entity, table.sampled.attributeColumns, table.store);
    }
    if (!isWrapped) table.store.pushCell(m_cell, place.target.column);
    return 0;
}

std::int32_t IntWriterV2::writeSampledGeneric(const pwr::Metric& metric, std::uint64_t tableIndex,
                                              Calculations calculation, const pwr::Quantity* quantity,
                                              const std::string& titleSuffix,
                                              const std::string& defaultValue) {
    const pwr::Metric::Sample& sample = metric.getData();
    if (sample.elements.empty()) return 0;
    const SampledMessage message = sampledMessage_i(metric, tableIndex, calculation, quantity, titleSuffix,
                                                    defaultValue, TEXT_WRITER_TAG);
    ++m_messageCount;
    m_declared.reset();
    const TableKey key{metric.m_id, tableIndex};
    Place* const places = m_places.placesOf(key, sample.elements.size());
    m_order.begin(key, m_tableCache.size() >= MANY_TABLES);
    for (std::size_t i = 0; i < sample.elements.size(); ++i) {
        prefetchAfter(sample.elements, i);
        if (writeSampledElement_i(message, sample.timestamp, *sample.elements[i], places[i]) != 0) return 1;
    }
    for (TableInfo* table : m_order.end()) table->store.rowComplete();
    return 0;
}

// Finds or makes the element's table and column. Returns false if there is no table to be had.
bool IntWriterV2::findPlace_i(const SampledMessage& message, const pwr::DataElement& element, Place& place) {
    const pwr::EntityHandle* const entity = element.getEntity();
    TableInfo* const table = sampledTable_i(message, *entity);
    if (table == nullptr) return false;
    const std::uint64_t key = dataKeyOf(entity, element.getDescriptor());
    const std::uint16_t* found = table->sampled.dataColumns.find(key);
    if (found == nullptr) {
        const auto added = static_cast<std::uint16_t>(table->store.addColumn(lateTitle_i(message, element)));
        found = &(table->sampled.dataColumns[key] = added);
    }
    place = {entity, element.getDescriptor(), {table, *found}};
    return true;
}

// The entity's table with its columns, or null.
IntWriterV2::TableInfo* IntWriterV2::sampledTable_i(const SampledMessage& message,
                                                    const pwr::EntityHandle& entity) {
    const std::uint64_t outerKey = keyOf(message.metric.m_id, entity.getId());
    TableInfo* table = findTable_i(outerKey, message.tableIndex);
    if (table == nullptr) {
        const std::string title = entityTitle(message.metric, entity) + message.titleSuffix;
        if (getStore(title, outerKey, message.tableIndex, message.defaultValue) == nullptr) return nullptr;
        table = findTable_i(outerKey, message.tableIndex);
    }
    if (!table->columnsReady) {
        try {
            addSampledColumns_i(message, entity, *table);
        } catch (const std::bad_alloc&) {
            table->dropColumns();
            throw;
        }
        table->columnsReady = true;
        table->sampleCount = 0;
    }
    return table;
}

void IntWriterV2::addFixedColumns_i(TableInfo& table) const {
    const auto add = [&table](const char* title) {
        return static_cast<std::uint16_t>(table.store.addColumn(title));
    };
    table.sampled.sampleColumn = add("Sample #");
    table.sampled.timeColumn = add(m_doTimelineTsc ? "Timestamp" : "Continuous Time (usec)");
    table.sampled.durationColumn = add("Duration (ms)");
}

void IntWriterV2::addSampledColumns_i(const SampledMessage& message, const pwr::EntityHandle& entity,
                                      TableInfo& table) {
    addFixedColumns_i(table);
    SampledDataColumnIndices& columns = table.sampled;
    if (message.metric.m_hasEntityAttributes) {
        for (const auto& [attribute, value] : entity) {
            if (attribute == nullptr) continue;
            const auto id = static_cast<std::uint32_t>(attribute->getId());
            if (columns.attributeColumns.find(id) != nullptr) continue;
            columns.attributeColumns[id] =
                static_cast<std::uint16_t>(table.store.addColumn(attribute->getFieldName()));
        }
    }
    const std::string units = sampledUnits_i(message.calculation, message.quantity);
    if (!m_declared.has_value()) m_declared.emplace(message.metric);
    for (const auto& [entityId, descriptor] : m_declared->of(entity.getId())) {
        const std::uint64_t key = keyOf(entityId, idOf(descriptor));
        if (columns.dataColumns.find(key) != nullptr) continue;
        const std::string title = descriptor != nullptr ? descriptorTitle(*descriptor) : std::string();
        columns.dataColumns[key] = static_cast<std::uint16_t>(table.store.addColumn(title + units));
    }
}

// The title of a column that nobody declared.
std::string IntWriterV2::lateTitle_i(const SampledMessage& message, const pwr::DataElement& element) {
    const pwr::Metric& metric = message.metric;
    const std::string units = sampledUnits_i(message.calculation, message.quantity);
    if (element.getDescriptor() != nullptr) return descriptorTitle(*element.getDescriptor()) + units;
    if (metric.m_valueHandle != nullptr) return metric.m_valueHandle->getName() + units;
    if (metric.m_quantity == nullptr) return element.getEntity()->getQualifiedName() + units;
    std::string title;
    metric.m_quantity->toTitleString(title);
    return title;
}

void IntWriterV2::beginSampledRow_i(TableInfo& table, std::uint64_t timestamp) {
    ++table.sampleCount;
    if (!m_rowStart.isOf(table.sampleCount, timestamp)) renewRowStart_i(table.sampleCount, timestamp);
    const SampledDataColumnIndices& columns = table.sampled;
    if (columns.sampleColumn == 0 && columns.timeColumn == 1) {
        table.store.pushStart(m_rowStart.cells);
    } else {
        table.store.pushCell(m_rowStart.cells.first(), columns.sampleColumn);
        table.store.pushCell(m_rowStart.cells.second(), columns.timeColumn);
    }
}

void IntWriterV2::renewRowStart_i(std::uint64_t sampleCount, std::uint64_t timestamp) {
    m_rowStart.sampleCount = 0;  // should the next line fail
    m_rowStart.cells.set(sampleText_i(sampleCount), timeText_i(timestamp, TimeConversionMicroseconds));
    m_rowStart.sampleCount = sampleCount;
    m_rowStart.timestamp = timestamp;
}

// Pushes an element's value and then its duration: where column numbers begin anew, the order counts.
// Otherwise it doesn't, and cells cost least in the order of their columns.
void IntWriterV2::pushWrapped_i(std::uint64_t duration, const CellPlace& place) {
    place.table->store.pushCell(m_cell, place.column);
    place.table->store.pushCell(durationText_i(duration), place.table->sampled.durationColumn);
}

// Pushes an element's duration, unless the row shows it already.
void IntWriterV2::pushDuration_i(std::uint64_t duration, TableInfo& table) {
    if (table.hasDuration && table.lastDuration == duration) return;
    table.store.pushCell(durationText_i(duration), table.sampled.durationColumn);
    table.hasDuration = true;
    table.lastDuration = duration;
}

// An attribute that has no column is entered with column 0 and takes the place of the sample number.
void IntWriterV2::pushAttributes_i(const pwr::AttributeValueManager& attributes,
                                   FlatMap<std::uint64_t, std::uint16_t>& columns,
                                   BackingStoreWrapper& store) {
    for (const auto& [attribute, value] : attributes) {
        if (attribute == nullptr) continue;
        m_attributeCell.clear();
        value.toFormattedString(m_attributeCell);
        store.pushCell(m_attributeCell, columns[static_cast<std::uint32_t>(attribute->getId())]);
    }
}
