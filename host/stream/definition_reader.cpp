#include "host/stream/definition_reader.h"

#include <algorithm>
#include <memory>
#include <string>
#include <unordered_set>
#include <utility>

#include "host/stream/value_reader.h"
#include "host/stream/vocabulary.h"

namespace host::stream {

namespace {

pwr::Metric::MetricType readMetricType(const Token& token, Fault& fault) {
    if (token.m_type != Token::Text)
        return static_cast<pwr::Metric::MetricType>(readInteger<std::uint8_t>(token, fault));
    const auto found = std::find(std::begin(METRIC_TYPES), std::end(METRIC_TYPES), token.text());
    if (found == std::end(METRIC_TYPES)) fault.set("unknown metric type " + quoted(token.text()));
    return static_cast<pwr::Metric::MetricType>(found - std::begin(METRIC_TYPES));
}

model::OutputConfiguration::Names readNames(const Token& token, Fault& fault) {
    model::OutputConfiguration::Names names;
    if (!isList(token, fault)) return names;
    for (const Token* item = token.begin(); item != token.end() && !fault.isSet(); item = item->next())
        names.emplace_back(readText(*item, fault));
    return names;
}

}  // namespace

pwr::TextNotes readNotes(const Token& token, Fault& fault) {
    pwr::TextNotes notes;
    ObjectReader object(token, fault);
    const std::string_view keys[] = {"0", "1"};
    for (std::int32_t key = 0; key < 2; ++key) {
        const std::string_view name = keys[key];
        if (object.find(name) == nullptr) continue;
        std::vector<std::string>& texts = notes[key];
        object.items(name, [&](const Token& item) { texts.emplace_back(readText(item, fault)); });
    }
    object.finish();
    return notes;
}

void readOutputConfiguration(ObjectReader& object, model::OutputConfiguration& out) {
    Fault& fault = object.fault();
    out.m_features.reset();
    if (object.find(key::FEATURES) != nullptr)
        out.m_features = object.value(key::FEATURES, model::OutputConfiguration::Names(),
                                      [&](const Token& token) { return readNames(token, fault); });
    if (object.find(key::PREFIXES) != nullptr)
        out.m_prefixes = object.value(key::PREFIXES, model::OutputConfiguration::Names(),
                                      [&](const Token& token) { return readNames(token, fault); });
    object.value(key::METRICS, 0, [&](const Token& token) {
        if (token.m_type != Token::Object) {
            setExpected("an object", token, fault);
            return 0;
        }
        for (const Token* key = token.begin(); key != token.end() && !fault.isSet();
             key = (key + 1)->next()) {
            if (!out.m_metrics.emplace(key->text(), readNames(*(key + 1), fault)).second)
                fault.set("key " + quoted(key->text()) + " occurs twice");
            else
                fault.in(key->text());
        }
        return 0;
    });
}

DefinitionReader::DefinitionReader(model::Registry& registry, Fault& fault)
    : m_registry(registry), m_fault(fault), m_references(registry, fault) {}

void DefinitionReader::read(std::string_view kind, ObjectReader& line) {
    struct Kind {
        std::string_view m_name;
        void (DefinitionReader::*m_read)(ObjectReader&);
    };
    static constexpr Kind KINDS[] = {
        {definition::QUANTITY, &DefinitionReader::quantity_i},
        {definition::ATTRIBUTE, &DefinitionReader::attribute_i},
        {definition::ENTITY, &DefinitionReader::entity_i},
        {definition::DESCRIPTOR, &DefinitionReader::descriptor_i},
        {definition::HANDLE, &DefinitionReader::handle_i},
        {definition::PROCESS, &DefinitionReader::process_i},
        {definition::THREAD, &DefinitionReader::thread_i},
        {definition::PAIR, &DefinitionReader::pair_i},
        {definition::METRIC, &DefinitionReader::metric_i},
        {definition::TABLE, &DefinitionReader::table_i},
        {definition::ORDER, &DefinitionReader::order_i},
    };
    for (const Kind& known : KINDS)
        if (known.m_name == kind) return (this->*known.m_read)(line);
    m_fault.set("unknown definition " + quoted(kind));
}

void DefinitionReader::setDuplicate_i(unsigned long id) {
    m_fault.set("id " + std::to_string(id) + " is defined already");
}

unsigned long DefinitionReader::newHandleId_i(ObjectReader& line) {
    const auto id = line.requireInteger<std::uint64_t>(key::ID, 1, model::Registry::MAX_HANDLE_ID);
    if (m_registry.findHandle(id) != nullptr) setDuplicate_i(id);
    return id;
}

model::HandleTexts DefinitionReader::texts_i(ObjectReader& line) {
    model::HandleTexts texts(line.requireText(key::NAME));
    texts.m_header = line.text(key::HEADER, texts.m_name);
    texts.m_fieldName = line.text(key::FIELD, texts.m_name);
    return texts;
}

const pwr::Quantity* DefinitionReader::quantityAt_i(ObjectReader& line) {
    return line.value<const pwr::Quantity*>(
        key::QUANTITY, nullptr, [this](const Token& token) { return m_references.quantity(token); });
}

std::vector<std::pair<const pwr::Attribute*, model::Value>> DefinitionReader::attributeValues_i(
    ObjectReader& line) {
    std::vector<std::pair<const pwr::Attribute*, model::Value>> values;
    std::unordered_set<const pwr::Attribute*> seen;
    line.items(key::ATTRIBUTES, [&](const Token& item) {
        const Token* parts[2];
        if (!splitList(item, 2, parts, m_fault)) return;
        auto& [attribute, value] = values.emplace_back();
        attribute = m_references.attributeOrNull(*parts[0]);
        if (m_fault.isSet()) return;
        if (!seen.insert(attribute).second) m_fault.set("attribute " + describe(*parts[0]) + " occurs twice");
        if (!m_fault.isSet()) readValue(*parts[1], m_references, value);
    });
    return values;
}

void DefinitionReader::quantity_i(ObjectReader& line) {
    const auto id = line.requireInteger<std::uint64_t>(key::ID, 1, model::Registry::MAX_QUANTITY_ID);
    if (m_registry.findQuantity(id) != nullptr) setDuplicate_i(id);
    auto quantity = std::make_unique<model::Quantity>(id);
    quantity->m_kind = static_cast<pwr::QuantityType>(line.requireInteger<std::uint8_t>(key::KIND));
    quantity->m_name = line.requireText(key::NAME);
    quantity->m_units = line.text(key::UNITS);
    quantity->m_title = line.text(key::TITLE, quantity->m_name);
    line.value(key::RATE, 0, [&](const Token& token) {
        const Token* parts[2];
        if (!splitList(token, 2, parts, m_fault)) return 0;
        quantity->m_rate = m_references.quantity(*parts[0]);
        if (!m_fault.isSet()) quantity->m_rateFactor = readDouble(*parts[1], m_fault);
        return 0;
    });
    const bool isTime = line.flag(key::TIME, false);
    if (isTime && m_registry.hasDefinedTime()) m_fault.set("there is a quantity of time already");
    if (line.finish()) m_registry.add(std::move(quantity), isTime);
}

void DefinitionReader::attribute_i(ObjectReader& line) {
    const unsigned long id = newHandleId_i(line);
    const model::HandleTexts texts = texts_i(line);
    const pwr::Quantity* const quantity = quantityAt_i(line);
    const auto type = static_cast<pwr::AttributeType>(line.requireInteger<std::int32_t>(key::TYPE));
    if (line.finish()) m_registry.add(std::make_unique<model::Attribute>(id, texts, quantity, type));
}

void DefinitionReader::entity_i(ObjectReader& line) {
    const unsigned long id = newHandleId_i(line);
    const model::HandleTexts texts = texts_i(line);
    const std::string qualified = line.text(key::QUALIFIED, texts.m_name);
    const auto type = line.integer<std::int32_t>(key::TYPE, model::HANDLE_PLAIN);
    const auto* parent = line.value<const pwr::EntityHandle*>(
        key::PARENT, nullptr, [this](const Token& token) { return m_references.entity(token); });
    const auto values = attributeValues_i(line);
    const bool isAttribute = line.findAny(key::QUANTITY) != nullptr;
    const pwr::Quantity* const quantity = quantityAt_i(line);
    if (!line.finish()) return;

    std::unique_ptr<model::Entity> entity;
    if (isAttribute) {
        entity = std::make_unique<model::AttributeEntity>(id, texts, qualified, type, parent, quantity);
    } else {
        entity = std::make_unique<model::Entity>(id, texts, qualified, type, parent);
    }
    for (const auto& [attribute, value] : values) entity->addAttributeValue(attribute, value);
    m_registry.add(std::move(entity));
}

void DefinitionReader::descriptor_i(ObjectReader& line) {
    const unsigned long id = newHandleId_i(line);
    auto descriptor = std::make_unique<model::Descriptor>(id, texts_i(line));
    for (const auto& [attribute, value] : attributeValues_i(line))
        descriptor->addAttributeValue(attribute, value);
    if (line.finish()) m_registry.add(std::move(descriptor));
}

void DefinitionReader::handle_i(ObjectReader& line) {
    const unsigned long id = newHandleId_i(line);
    const model::HandleTexts texts = texts_i(line);
    const auto type = line.integer<std::int32_t>(key::TYPE, model::HANDLE_PLAIN);
    const bool isExpecting = line.find(key::EXPECTED) != nullptr;
    std::vector<const pwr::Attribute*> attributes;
    line.items(key::EXPECTED, [&](const Token& item) { attributes.push_back(m_references.attribute(item)); });
    if (!line.finish()) return;

    if (isExpecting) {
        m_registry.add(std::unique_ptr<model::Handle>(
            std::make_unique<model::ExpectingHandle>(id, texts, type, attributes)));
    } else {
        m_registry.add(std::make_unique<model::Handle>(id, texts, type));
    }
}

void DefinitionReader::process_i(ObjectReader& line) {
    const unsigned long id = newHandleId_i(line);
    const std::string path = line.requireText(key::PATH);
    auto process = std::make_unique<model::Process>(id, line.text(key::NAME, path));
    process->m_path = path;
    process->m_pid = line.requireInteger<std::int32_t>(key::PID);
    process->m_parentPid = line.integer<std::int32_t>(key::PARENT, 0);
    process->m_startTime = line.integer<std::uint64_t>(key::START, 0);
    process->m_endTime = line.integer<std::uint64_t>(key::END, 0);
    if (line.finish()) m_registry.add(std::move(process));
}

void DefinitionReader::thread_i(ObjectReader& line) {
    const unsigned long id = newHandleId_i(line);
    const auto tid = line.requireInteger<std::int32_t>(key::TID);
    auto thread = std::make_unique<model::Thread>(id, line.text(key::NAME, std::to_string(tid)));
    thread->m_tid = tid;
    thread->m_pid = line.requireInteger<std::int32_t>(key::PID);
    thread->m_startTime = line.integer<std::uint64_t>(key::START, 0);
    thread->m_endTime = line.integer<std::uint64_t>(key::END, 0);
    if (line.finish()) m_registry.add(std::move(thread));
}

void DefinitionReader::pair_i(ObjectReader& line) {
    const unsigned long id = newHandleId_i(line);
    const std::string info = line.requireText(key::INFO);
    auto pair = std::make_unique<model::NameValuePair>(id, line.text(key::NAME, info));
    pair->m_infoName = info;
    pair->m_valueDescription = line.text(key::DESCRIPTION);
    pair->m_value = line.integer<std::int64_t>(key::VALUE, 0);
    if (line.finish()) m_registry.add(std::move(pair));
}

void DefinitionReader::metricTypes_i(ObjectReader& line, model::Metric& metric) {
    if (const Token* type = line.require(key::TYPE); type != nullptr) {
        metric.m_metricType = readMetricType(*type, m_fault);
        m_fault.in(key::TYPE);
    }
    metric.m_tableClass = static_cast<pwr::RealTableClass>(line.integer<std::uint8_t>(key::CLASS, 0));
}

void DefinitionReader::metricReferences_i(ObjectReader& line, model::Metric& metric) {
    const auto handleAt = [&](std::string_view key) {
        return line.value<const pwr::DataHandle*>(
            key, nullptr, [this](const Token& token) { return m_references.handle(token); });
    };
    metric.m_valueHandle = handleAt(key::VALUE);
    metric.m_stateHandle = handleAt(key::STATE);
    metric.m_entityHandle = handleAt(key::ENTITY);
    line.items(key::DESCRIPTORS, [&](const Token& item) {
        const Token* parts[2];
        if (!splitList(item, 2, parts, m_fault)) return;
        const pwr::DataHandle* const handle = m_references.handle(*parts[0]);
        if (m_fault.isSet()) return;
        metric.m_attributeDescriptors.emplace_back(handle, m_references.descriptorOrNull(*parts[1]));
    });
    line.items(key::ENTITIES,
               [&](const Token& item) { metric.m_entities.push_back(m_references.entity(item)); });
}

void DefinitionReader::metric_i(ObjectReader& line) {
    auto metric = std::make_unique<model::Metric>();
    metric->m_id = line.requireInteger<std::uint32_t>(key::ID, 1);
    if (m_registry.findMetric(metric->m_id) != nullptr) setDuplicate_i(metric->m_id);
    metric->m_name = line.requireText(key::NAME);
    metric->m_groupName = line.text(key::GROUP);
    metricTypes_i(line, *metric);
    metric->m_quantity = quantityAt_i(line);
    line.items(key::LEGEND, [&](const Token& item) {
        model::Value value;
        readValue(item, m_references, value);
        metric->m_legendValues.push_back(value);
    });
    metricReferences_i(line, *metric);
    metric->m_hasEntityAttributes = line.flag(key::ATTRIBUTES, false);
    if (line.finish()) m_registry.add(std::move(metric));
}

std::vector<const pwr::DataHandle*> DefinitionReader::columns_i(ObjectReader& line, std::string_view key) {
    std::vector<const pwr::DataHandle*> handles;
    std::unordered_set<const pwr::DataHandle*> seen;
    line.items(key, [&](const Token& item) {
        const pwr::DataHandle* const handle = m_references.handleOrNull(item);
        handles.push_back(handle);
        if (handle != nullptr && !seen.insert(handle).second)
            m_fault.set("handle " + describe(item) + " occurs twice");
    });
    return handles;
}

void DefinitionReader::table_i(ObjectReader& line) {
    model::TableColumns columns;
    columns.m_container = line.requireInteger<std::uint32_t>(key::CONTAINER);
    columns.m_id = line.requireInteger<std::uint32_t>(key::ID);
    if (m_registry.findTable(columns.m_container, columns.m_id) != nullptr)
        m_fault.set("table [" + std::to_string(columns.m_container) + "," + std::to_string(columns.m_id) +
                    "] is defined already");
    columns.m_class = static_cast<pwr::TableClass>(line.integer<std::int32_t>(key::CLASS, 0));
    columns.m_isSummary = line.flag(key::SUMMARY, columns.m_class == pwr::TABLE_CLASS_SUMMARY);
    columns.m_title = line.requireText(key::TITLE);
    columns.m_quantity = quantityAt_i(line);
    columns.m_hasFieldHeaders = line.flag(key::HEADERS, true);
    columns.m_shared = columns_i(line, key::SHARED);
    columns.m_handles = columns_i(line, key::HANDLES);
    line.items(key::ENTITIES, [&](const Token& item) {
        if (const auto* entity = m_references.entity(item); entity != nullptr)
            columns.m_entities.insert(entity);
    });
    if (line.find(key::NOTES) != nullptr)
        columns.m_notes = line.value(key::NOTES, pwr::TextNotes(),
                                     [this](const Token& token) { return readNotes(token, m_fault); });
    columns.index();
    if (columns.m_entities.empty() && !m_fault.isSet())
        for (const pwr::DataHandle* handle : columns.m_handles)
            if (handle != nullptr && columns.sharedCell(handle).has_value())
                m_fault.set("handle " + std::to_string(handle->getId()) +
                            " is in both lists of a table without entities");
    if (line.finish()) m_registry.add(std::make_unique<model::Table>(std::move(columns)));
}

void DefinitionReader::order_i(ObjectReader& line) {
    model::OutputConfiguration configuration;
    readOutputConfiguration(line, configuration);
    if (line.finish()) m_registry.m_configuration = std::move(configuration);
}

}  // namespace host::stream
