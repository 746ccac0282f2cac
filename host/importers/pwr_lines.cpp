#include "host/importers/pwr_lines.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <iterator>

#include "host/emit/json_line.h"
#include "host/importers/metric_types.h"
#include "plugins/packing.h"
#include "pwr/attribute.h"
#include "pwr/bin/pwr_records.h"

namespace host::importers {

namespace key = emit::key;
namespace definition = emit::definition;

using namespace vyrta;
using inspect::PwrRecord;

namespace {

// Ids of attributes that elements have: first those of numbers, of which a writer takes the one with the
// least id for the first, then those of all other places in their order.
constexpr std::uint32_t MEASURED_IDS = 4096;
constexpr std::uint32_t PLACES = MAXIMUM_ATTRIBUTE_COUNT;
constexpr std::uint32_t TYPES_PER_PLACE = 8;
constexpr std::uint32_t RESERVED_IDS = MEASURED_IDS + PLACES * TYPES_PER_PLACE;

// The quantity that a host has of its own.
constexpr std::uint32_t HOST_TIME_QUANTITY = 1073741823;

std::uint8_t typeOf(std::uint32_t metricClass) {
    switch (metricClass) {
        case METRIC_CLASS_SAMPLED_FINITE_SET_COUNTER:
            return METRIC_RESIDENCY;
        case METRIC_CLASS_SAMPLED_VALUE:
        case METRIC_CLASS_SAMPLED_FINITE_SET_VALUE:
            return METRIC_VALUE;
        case METRIC_CLASS_TRACED_FINITE_SET_COUNTER:
            return METRIC_TRANSITION;
        case METRIC_CLASS_SAMPLED_COUNTER:
            return METRIC_DELTA;
        case METRIC_CLASS_TRACED_EVENT:
            return METRIC_EVENT;
        default:
            return METRIC_UNKNOWN;
    }
}

std::string quoted(const std::string& text) {
    const std::string clean = base::toUtf8(text);
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writer.String(clean.data(), static_cast<rapidjson::SizeType>(clean.size()));
    return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace

PwrLines::PwrLines(const PwrHeader& header, const std::vector<const PwrHeader::Process*>& early,
                   emit::Output& output, std::uint32_t others)
    : m_header(header), m_early(early), m_output(output), m_line(output) {
    m_firstMeasured = header.findFreeIds(RESERVED_IDS + static_cast<Id>(header.places) + others);
    m_firstSlot = m_firstMeasured + MEASURED_IDS;
    m_nextId = m_firstMeasured + RESERVED_IDS;
}

void PwrLines::quantity_i(std::uint64_t id) {
    const PwrHeader::Info* const info = m_header.find("quantity", id);
    if (info == nullptr || id == 0 || id >= HOST_TIME_QUANTITY || !m_quantities.insert(id).second) return;
    if (info->parent != NO_ID) quantity_i(info->parent);
    // "name|units|multiplier"
    const std::size_t last = info->name.rfind('|');
    const std::size_t first = std::min(info->shortName.size(), last);
    std::string units = first < last ? info->name.substr(first + 1, last - first - 1) : std::string();
    double multiplier = 0;
    const char* const digits = info->name.data() + (last != std::string::npos ? last + 1 : info->name.size());
    std::from_chars(digits, info->name.data() + info->name.size(), multiplier);
    emit::JsonLine line(key::DEFINITION, definition::QUANTITY);
    line.member(key::ID, id)
        .member(key::KIND, std::min(info->value, 255U))
        .member(key::NAME, info->shortName);
    line.member(key::UNITS, units);
    line.member(key::TITLE, units.empty() ? info->shortName : info->shortName + " (" + units + ")");
    if (info->parent != NO_ID && m_quantities.contains(info->parent))
        line.key(key::RATE).beginList().value(info->parent).value(multiplier).endList();
    if (id == m_timeQuantity) line.member(key::TIME, true);
    line.writeTo(m_output);
}

void PwrLines::metric(const MetricRecord& metric) {
    const std::uint8_t type = typeOf(metric.metricClass);
    quantity_i(metric.quantity);
    emit::JsonLine line(key::DEFINITION, definition::METRIC);
    line.member(key::ID, metric.id).member(key::NAME, metric.name).member(key::TYPE, unsigned{type});
    // The quantity of a transition is always that of time.
    if (type != METRIC_TRANSITION && m_quantities.contains(metric.quantity))
        line.member(key::QUANTITY, metric.quantity);
    line.writeTo(m_output);
}

// Defines an entity with the attributes that its samples show.
void PwrLines::entity_i(std::uint64_t id, std::uint64_t time) {
    if (!m_entities.insert(id).second) return;
    const PwrHeader::Info* const info = m_header.find("entity", id);
    const bool hasParent = info != nullptr && info->parent != NO_ID;
    if (hasParent) entity_i(info->parent, time);
    std::vector<std::string> pairs;
    if (const auto found = m_entityAttributes->find(id); found != m_entityAttributes->end())
        for (const Attribute& attribute : found->second)
            pairs.push_back(infoPair_i(attribute, pairs.size(), time));
    emit::JsonLine line(key::DEFINITION, definition::ENTITY);
    line.member(key::ID, id).member(key::NAME, info != nullptr ? info->name : "entity " + std::to_string(id));
    if (hasParent) line.member(key::PARENT, info->parent);
    if (!pairs.empty()) {
        line.key(key::ATTRIBUTES).beginList();
        for (const std::string& pair : pairs) line.raw(pair);
        line.endList();
    }
    line.writeTo(m_output);
}

// The descriptor of a state, which is named as a whole.
PwrLines::Id PwrLines::field_i(std::uint64_t id) {
    const auto [known, isNew] = m_fields.try_emplace(id, 0);
    if (!isNew) return known->second;
    known->second = id < FIRST_WRITER_ID ? static_cast<Id>(id) : m_nextId++;
    const PwrHeader::Info* const info = m_header.find("field", id);
    emit::JsonLine line(key::DEFINITION, definition::DESCRIPTOR);
    line.member(key::ID, known->second)
        .member(key::NAME, info != nullptr ? info->name : "state " + std::to_string(id));
    line.writeTo(m_output);
    return known->second;
}

PwrLines::Id PwrLines::runner_i(const PwrHeader::Process& runner, bool isThread) {
    const auto [known, isNew] = m_runners.try_emplace(&runner, m_nextId);
    if (!isNew) return known->second;
    emit::JsonLine line(key::DEFINITION, isThread ? definition::THREAD : definition::PROCESS);
    line.member(key::ID, m_nextId++);
    if (isThread) line.member(key::TID, runner.tid);
    line.member(key::PID, runner.pid);
    if (!isThread) line.member(key::PATH, runner.path);
    line.member(key::START, runner.start).member(key::END, runner.end).writeTo(m_output);
    return known->second;
}

void PwrLines::voidMetric(Id id, const std::string& name, Id quantity, std::uint64_t time) {
    const bool isTime = quantity == m_timeQuantity || quantity == HOST_TIME_QUANTITY;
    if (!isTime && quantity != 0) quantity_i(quantity);
    // Of a traced metric a sample has one element, so that a writer refuses one without.
    emit::JsonLine line(key::DEFINITION, definition::METRIC);
    line.member(key::ID, id).member(key::NAME, name);
    line.member(key::TYPE, unsigned{isTime ? METRIC_TRANSITION : METRIC_EVENT});
    if (!isTime && m_quantities.contains(quantity)) line.member(key::QUANTITY, quantity);
    line.writeTo(m_output);
    m_line.begin(id, time);
    m_line.end();
}

std::uint32_t PwrLines::process(std::uint64_t pid, std::uint64_t time) {
    for (const PwrHeader::Process* const runner : m_early)
        if (runner->tid == 0 && runner->pid == pid) return runner_i(*runner, false);
    const PwrHeader::Process* const found = m_header.findProcess(pid, time);
    return found != nullptr ? runner_i(*found, false) : 0;
}

std::uint32_t PwrLines::thread(std::uint64_t tid, std::uint64_t time) {
    for (const PwrHeader::Process* const runner : m_early)
        if (runner->tid != 0 && runner->tid == tid) return runner_i(*runner, true);
    const PwrHeader::Process* const found = m_header.findThread(tid, time);
    return found != nullptr ? runner_i(*found, true) : 0;
}

void PwrLines::pair_i(std::uint64_t id) {
    if (!m_pairs.insert(id).second) return;
    const PwrHeader::Info* const info = m_header.find("nameid_attribute", id);
    const PwrHeader::Info unknown;
    const PwrHeader::Info& pair = info != nullptr ? *info : unknown;
    definePair_i(static_cast<Id>(id), pair.name, pair.description, pair.value);
}

void PwrLines::definePair_i(Id id, const std::string& name, const std::string& description,
                            std::uint32_t value) {
    emit::JsonLine line(key::DEFINITION, definition::PAIR);
    line.member(key::ID, id)
        .member(key::INFO, name)
        .member(key::DESCRIPTION, description)
        .member(key::VALUE, value);
    line.writeTo(m_output);
}

PwrLines::Id PwrLines::pair(const std::string& name, std::uint32_t value) {
    const Id id = newId();
    definePair_i(id, name, std::string(), value);
    return id;
}

PwrLines::Id PwrLines::slot_i(std::size_t place, int type) {
    const auto at = static_cast<Id>(std::min<std::size_t>(place, PLACES - 1));
    const Id id = m_firstSlot + at * TYPES_PER_PLACE + static_cast<Id>(type);
    if (!m_slots.insert(id).second) return id;
    const char* const name = type == pwr::ATTRIBUTE_PROCESS  ? "Process"
                             : type == pwr::ATTRIBUTE_THREAD ? "Thread"
                                                             : "Info";
    emit::JsonLine(key::DEFINITION, definition::ATTRIBUTE)
        .member(key::ID, id)
        .member(key::NAME, name)
        .member(key::TYPE, type)
        .writeTo(m_output);
    return id;
}

PwrLines::Id PwrLines::measuredSlot_i(std::uint64_t quantity) {
    const auto next =
        m_firstMeasured + static_cast<Id>(std::min<std::size_t>(m_measuredSlots.size(), MEASURED_IDS - 1));
    const auto [known, isNew] = m_measuredSlots.try_emplace(quantity, next);
    if (!isNew) return known->second;
    quantity_i(quantity);
    emit::JsonLine line(key::DEFINITION, definition::ATTRIBUTE);
    line.member(key::ID, next).member(key::NAME, "Value").member(key::TYPE, int{pwr::ATTRIBUTE_DATA});
    if (m_quantities.contains(quantity)) line.member(key::QUANTITY, quantity);
    line.writeTo(m_output);
    return next;
}

// Strings are the writer's own; pairs the collector's.
bool PwrLines::isText_i(const Attribute& info) const {
    return info.type == ATTRIBUTE_KIND_INFO && info.value >= FIRST_WRITER_ID;
}

std::string PwrLines::textOf_i(const Attribute& info) const {
    const PwrHeader::Info* const found = m_header.find("nameid_attribute", info.value);
    return found != nullptr ? found->name : std::string();
}

std::string PwrLines::infoPair_i(const Attribute& info, std::size_t place, std::uint64_t time) {
    const auto pair = [](Id attribute, const char* kind, const std::string& value) {
        return "[" + std::to_string(attribute) + ",{\"" + kind + "\":" + value + "}]";
    };
    if (isText_i(info)) return pair(slot_i(place, pwr::ATTRIBUTE_DATA), "s", quoted(textOf_i(info)));
    if (info.type == ATTRIBUTE_KIND_INFO) {
        pair_i(info.value);
        return pair(slot_i(place, pwr::ATTRIBUTE_NAME_VALUE), "h", std::to_string(info.value));
    }
    const bool isThread = info.type == ATTRIBUTE_KIND_THREAD;
    const Id runner = isThread ? thread(info.value, time) : process(info.value, time);
    if (runner == 0) return pair(slot_i(place, pwr::ATTRIBUTE_DATA), "u", std::to_string(info.value));
    return pair(slot_i(place, isThread ? pwr::ATTRIBUTE_THREAD : pwr::ATTRIBUTE_PROCESS), "h",
                std::to_string(runner));
}

std::string PwrLines::infos_i(const Element& element, std::size_t count, std::uint64_t time) {
    std::string pairs;
    if (!element.measured.empty()) {
        const std::vector<Attribute> number(element.measured.begin() + 1, element.measured.end());
        const bool isText = !number.empty() && number.front().type == ATTRIBUTE_KIND_INFO;
        const std::string value =
            isText ? "{\"s\":" + quoted(textOf_i(number.front())) + "}" : numberOf_i(number, m_isTruncated);
        pairs = "[" + std::to_string(measuredSlot_i(element.measured.front().value)) + "," + value + "]";
    }
    for (std::size_t i = 0; i < count; ++i)
        pairs += (pairs.empty() ? "" : ",") + infoPair_i(element.infos[i], i, time);
    return pairs;
}

// The value as the stream writes it: a number or a range.
std::string PwrLines::numberOf_i(const std::vector<Attribute>& attributes, bool isTruncated) {
    if (attributes.empty()) return "null";
    const bool isRange = attributes.size() > 1 && isLowerBound(attributes[0].type);
    const std::uint32_t type = attributes[0].type;
    const bool isReal = type == ATTRIBUTE_KIND_REAL || type == ATTRIBUTE_KIND_REAL_LOWER_BOUND;
    const bool isSigned = type == ATTRIBUTE_KIND_INT || type == ATTRIBUTE_KIND_INT_LOWER_BOUND;
    const auto append = [&](std::string& out, std::uint64_t value) {
        if (isReal)
            SampleLine::appendReal(out,
                                   isTruncated ? static_cast<double>(value) : std::bit_cast<double>(value));
        else if (isSigned)
            base::appendNumber(out, static_cast<std::int64_t>(value));
        else
            base::appendNumber(out, value);
    };
    std::string text = isReal ? "{\"r\":" : isSigned ? "{\"i\":" : "{\"u\":";
    if (isRange) text += '[';
    append(text, attributes[0].value);
    if (isRange) {
        text += ',';
        append(text, attributes[1].value);
        text += ']';
    }
    return text + '}';
}

// A text that stands last is the element's value; in traced metrics only if it names the state, as one whose
// value was a text has no other name.
bool PwrLines::isTextValue_i(const MetricRecord& metric, const Element& element) const {
    if (!element.value.empty() || !element.endsInInfo || !isText_i(element.infos.back())) return false;
    const std::uint8_t type = typeOf(metric.metricClass);
    if (type != METRIC_TRANSITION && type != METRIC_EVENT) return type != METRIC_RESIDENCY;
    std::vector<Attribute> attributes = element.measured;
    attributes.insert(attributes.end(), element.infos.begin(), element.infos.end());
    return m_header.isNamedBy(element.field, attributes);
}

void PwrLines::sample(const MetricRecord& metric, const PwrRecord& sample) {
    const inspect::PwrSample fields = readSample(sample);
    const std::uint64_t time = fields.time;
    m_isTruncated = fields.version == VERSION_TRUNCATED_REALS;
    const std::vector<Element> elements = elementsOf(attributesOf(sample));
    for (const Element& element : elements) entity_i(element.entity, time);
    m_line.begin(metric.id, time);
    for (const Element& element : elements) element_i(metric, element, time);
    m_line.end();
}

void PwrLines::element_i(const MetricRecord& metric, const Element& element, std::uint64_t time) {
    const bool isText = isTextValue_i(metric, element);
    const std::uint8_t type = typeOf(metric.metricClass);
    const bool isTraced = type == METRIC_TRANSITION || type == METRIC_EVENT;
    // A state that a text has made has no descriptor.
    const Id descriptor = isText && isTraced ? 0 : field_i(element.field);
    const std::string infos = infos_i(element, element.infos.size() - (isText ? 1 : 0), time);
    m_line.element(element.entity, descriptor, element.duration);
    if (!infos.empty()) m_line.info(infos);
    if (isText)
        m_line.text(textOf_i(element.infos.back()));
    else if (!element.value.empty())
        m_line.value(numberOf_i(element.value, m_isTruncated));
    else
        m_line.handle(descriptor);
}

}  // namespace host::importers
