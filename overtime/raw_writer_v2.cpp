#include "overtime/raw_writer_v2.h"

#include <algorithm>
#include <new>
#include <set>

#include "overtime/column_titles.h"
#include "plugins/log.h"
#include "plugins/memory_guard.h"
#include "plugins/writer_plugin_capability.h"
#include "pwr/messages.h"
#include "pwr/metric.h"
#include "pwr/system_metadata.h"

using namespace overtime;

namespace {

const char* const OPTION_NAME = "raw";
const std::string DEFAULT_VALUE = "n/a";
constexpr std::uint16_t TIMESTAMP_COLUMN = 0;

std::string columnTitle(const pwr::DataHandle* entity, const pwr::DataDescriptor* descriptor,
                        const pwr::Quantity* quantity) {
    std::string title = qualifiedNameOf(entity);
    if (descriptor != nullptr) title += " " + descriptor->getName();
    return title + unitsSuffix(quantity);
}

}  // namespace

RawWriterV2::RawWriterV2()
    : WriterPlugin("2e820d9e-2f9e-4cdb-a81d-056273a7a391"),
      m_extension(".txt"),
      m_writeError(0),
      m_timestampFrequency(0) {
    auto capability = std::make_unique<pwr::WriterPluginCapability>(
        std::set<pwr::TableClass>{}, OPTION_NAME, "Print raw text data to *.txt file", m_extension, false);
    capability->m_flags |= pwr::PluginCapability::FLAG_HOST;
    addCapability(capability.release());
}

RawWriterV2::~RawWriterV2() = default;

std::int32_t RawWriterV2::init(const std::string& outputName, bool) {
    return guardMemory(OPTION_NAME, 1, [&] {
        m_fileName = outputName + m_extension;
        m_file = openFile(m_fileName, "wb");
        if (m_file != nullptr) return 0;
        LOG_WARNING_TAG(TEXT_WRITER_TAG, "Could not create %s\n", m_fileName.c_str());
        return 1;
    });
}

std::int32_t RawWriterV2::fini() {
    return guardMemory(OPTION_NAME, 1, [&] { return printTables_i(); });
}

std::int32_t RawWriterV2::printTables_i() {
    if (m_file == nullptr) {
        LOG_WARNING_TAG(TEXT_WRITER_TAG, "Output file %s does not exist\n", m_fileName.c_str());
        return 1;
    }
    bool isComplete = true;
    for (const auto& table : m_tables) {
        table->flush(m_file.get(), ",", false);
        isComplete = table->isComplete() && isComplete;
        if (m_writeError == 0) m_writeError = table->writeError();
    }
    return finishFile(std::move(m_file), m_fileName, m_writeError) && isComplete ? 0 : 1;
}

std::int32_t RawWriterV2::writeMessage(const pwr::TextMessage& message) {
    if (m_file == nullptr) return 0;
    writeText(m_file.get(), message.m_text, m_writeError);
    writeText(m_file.get(), "\n\n", m_writeError);
    return 0;
}

std::int32_t RawWriterV2::writeMessage(const pwr::SystemMessage& message) {
    m_timestampFrequency = message.m_metadata->m_tscFrequency;
    return 0;
}

std::int32_t RawWriterV2::writeMessage(const pwr::MetricContainerInfoMessage&) {
    return 0;
}

BackingStoreWrapper* RawWriterV2::getStore(const std::string& title, std::uint32_t metricId) {
    const auto found = m_stores.find(metricId);
    if (found != m_stores.end()) return found->second;
    try {
        BackingStoreWrapper*& store = m_stores[metricId];
        m_tables.push_back(std::make_unique<BackingStoreWrapper>(title, DEFAULT_VALUE));
        return store = m_tables.back().get();
    } catch (const std::bad_alloc&) {
        logOutOfMemory(OPTION_NAME);
    } catch (...) {
        // The store has told why.
    }
    m_stores.erase(metricId);
    LOG_WARNING_TAG(TEXT_WRITER_TAG, "Failed to initialize buffer.\n");
    return nullptr;
}

bool RawWriterV2::isKnown_i(std::uint32_t metricId) const {
    return std::find(m_knownMetrics.begin(), m_knownMetrics.end(), metricId) != m_knownMetrics.end();
}

void RawWriterV2::declareColumns_i(const pwr::Metric& metric, BackingStoreWrapper& store,
                                   ColumnMap& columns) {
    store.addColumn("Timestamp");
    for (const auto& [entity, descriptor] : metric.m_attributeDescriptors) {
        const std::uint64_t key = dataKeyOf(entity, descriptor);
        if (columns.find(key) != nullptr) continue;
        columns[key] =
            static_cast<std::uint16_t>(store.addColumn(columnTitle(entity, descriptor, metric.m_quantity)));
    }
    m_knownMetrics.push_back(metric.m_id);
}

// The column of an element, which is added if nobody declared it.
std::uint16_t RawWriterV2::columnOf_i(const pwr::Metric& metric, const pwr::DataElement& element,
                                      const MetricTable& table) {
    const std::uint64_t key = dataKeyOf(element.getEntity(), element.getDescriptor());
    if (const std::uint16_t* const column = table.columns->find(key)) return *column;
    const std::string title = columnTitle(element.getEntity(), element.getDescriptor(), metric.m_quantity);
    return (*table.columns)[key] = static_cast<std::uint16_t>(table.store->addColumn(title));
}

// The metric's table with its columns, or null.
RawWriterV2::MetricTable* RawWriterV2::tableOf_i(const pwr::Metric& metric) {
    if (MetricTable* const* const known = m_tableOf.find(metric.m_id)) return *known;
    BackingStoreWrapper* const store = getStore(metric.m_name, metric.m_id);
    if (store == nullptr) return nullptr;
    ColumnMap& columns = m_columnsByMetric[metric.m_id];
    if (!isKnown_i(metric.m_id)) {
        try {
            declareColumns_i(metric, *store, columns);
        } catch (const std::bad_alloc&) {
            store->removeColumns();
            columns = {};
            throw;
        }
    }
    m_metricTables.push_back({store, &columns, {}});
    return m_tableOf[metric.m_id] = &m_metricTables.back();
}

std::int32_t RawWriterV2::writeMessage(const pwr::Metric& metric) {
    return guardMemory(OPTION_NAME, 1, [&] { return addRow_i(metric); });
}

std::int32_t RawWriterV2::addRow_i(const pwr::Metric& metric) {
    MetricTable* const table = tableOf_i(metric);
    if (table == nullptr) return 1;
    table->store->fetch();
    const pwr::Metric::Sample& sample = metric.getData();
    SamplePlace<std::uint16_t>* const places = table->places.first(sample.elements.size());
    m_cell.clear();
    pwr::Data(static_cast<unsigned long>(sample.timestamp)).toFormattedString(m_cell);
    table->store->pushCell(m_cell, TIMESTAMP_COLUMN);
    for (std::size_t i = 0; i < sample.elements.size(); ++i) {
        prefetchAfter(sample.elements, i);
        const pwr::DataElement* const element = sample.elements[i];
        const pwr::EntityHandle* const entity = element->getEntity();
        const pwr::DataDescriptor* const descriptor = element->getDescriptor();
        SamplePlace<std::uint16_t>& place = places[i];
        if (!place.isOf(entity, descriptor))
            place = {entity, descriptor, columnOf_i(metric, *element, *table)};
        m_cell.clear();
        element->getValue()->toFormattedString(m_cell);
        table->store->pushCell(m_cell, place.target);
    }
    table->store->rowComplete();
    return 0;
}
