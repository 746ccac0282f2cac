#include "host/importers/ztjson_parts.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

#include "host/emit/json_line.h"
#include "host/importers/metric_types.h"

namespace host::importers {

namespace key = emit::key;
namespace definition = emit::definition;
namespace message = emit::message;

namespace {

constexpr std::size_t MOST_ELEMENTS = 65536;
constexpr const char* NO_DESCRIPTOR = "N/A";

// Calls `read` for each value of a member that is a list if it has more than one.
template <typename Read>
void readOneOrMore(JsonPull& json, Read read) {
    if (!json.isList()) return read();
    json.enterList();
    while (json.nextItem()) read();
}

// The number of a metric, of 32 bits, or -1, which stands for the machine. It is written as a signed one.
std::int64_t idOf(JsonPull& json) {
    const std::int64_t id = json.signedWhole();
    if (id < INT32_MIN || id > UINT32_MAX) json.fail("no number of a metric is " + std::to_string(id));
    return id;
}

}  // namespace

void ZtjsonParts::read(JsonPull& json, std::string key) {
    do {
        if (key != "Metadata" && key != "Data") {
            json.skip();
            continue;
        }
        if (!json.enterList()) return;
        while (m_target.lines.isOpen() && json.nextItem()) {
            if (key == "Metadata") {
                Entry entry;
                readEntry_i(json, entry);
                if (!json.failed()) entry_i(json, std::move(entry));
            } else {
                Record record = readRecord_i(json);
                if (!json.failed()) take_i(json, std::move(record));
            }
        }
    } while (m_target.lines.isOpen() && json.nextKey(key));
    if (m_waitingTimes > 0) openRun_i();
    m_system ? void(m_waiting.emplace_back(std::monostate())) : endPart_i();
}

void ZtjsonParts::finish() {
    openRun_i();
}

void ZtjsonParts::endPart_i() {
    m_line.end();
    m_metric = 0;
    if (m_hasSystem && m_target.lines.isOpen())
        emit::JsonLine(key::MESSAGE, message::FLUSH).writeTo(m_target.lines);
}

// Parts follow each other by the end of the collection as it was known when they were written, and by their
// data; what describes a metric stands before what only has its samples.
std::optional<PartKey> ZtjsonParts::place(JsonPull& json, std::string key) {
    PartKey place;
    place.placeBehind = UINT64_MAX;  // without data
    do {
        if (key != "Metadata" && key != "Data") {
            json.skip();
            continue;
        }
        json.enterList();
        while (json.nextItem()) {
            if (key == "Data") {
                place.placeBehind = readRecord_i(json).time;
                return place.run.empty() ? std::nullopt : std::optional(place);
            }
            Entry entry;
            readEntry_i(json, entry);
            if (!entry.isSystem) {
                place.definitions = 0;
                continue;
            }
            place.run = runOf_i(entry);
            place.place = numberOf<std::uint64_t>(entry.system, "Collection Stop Timestamp");
        }
    } while (json.nextKey(key));
    if (place.definitions == 0) place.placeBehind = 0;  // of samples without elements, for others to refer to
    return place.run.empty() ? std::nullopt : std::optional(place);
}

std::string ZtjsonParts::runOf_i(const Entry& system) {
    return textOf(system.system, "Collection Start Timestamp") + '\n' + textOf(system.system, "Platform ID") +
           '\n' + textOf(system.system, "Host Name");
}

void ZtjsonParts::readPair_i(JsonPull& json, Entry& entry) {
    Pair pair;
    SystemMembers descriptor;
    std::string key;
    json.enterObject();
    while (json.nextKey(key)) {
        if (key == "Entity")
            pair.entity = json.text();
        else if (key == "Descriptor")
            readSystemMembers(json, descriptor);
        else
            json.skip();
    }
    pair.descriptor = descriptor["Name"];
    pair.state = descriptor["AttributeValue"];
    entry.pairs.push_back(std::move(pair));
}

void ZtjsonParts::readEntry_i(JsonPull& json, Entry& entry) {
    SystemMembers quantity;
    std::string key;
    json.enterObject();
    while (json.nextKey(key)) {
        if (key == "FeatureName") {
            entry.group = json.text();
        } else if (key == "Name") {
            entry.name = json.text();
        } else if (key == "ID") {
            entry.id = idOf(json);
        } else if (key == "Type") {
            entry.type = json.text();
        } else if (key == "Quantity") {
            readSystemMembers(json, quantity);
        } else if (key == "States") {
            readOneOrMore(json, [&] { entry.states.push_back(json.text()); });
        } else if (key == "Entity-Descriptor-Combinations") {
            readOneOrMore(json, [&] { readPair_i(json, entry); });
        } else if (key == "Platform" || key == "OS" || key == "Zentrace") {
            entry.isSystem = true;
            readSystemMembers(json, entry.system);
        } else {
            json.skip();
        }
    }
    entry.quantity = quantity["Name"];
    entry.units = quantity["Units"];
}

ZtjsonParts::Record ZtjsonParts::readRecord_i(JsonPull& json) {
    Record record;
    std::string key;
    json.enterObject();
    while (json.nextKey(key)) {
        if (key == "ID")
            record.id = idOf(json);
        else if (key == "Entity")
            record.entity = json.text();
        else if (key == "Descriptor")
            record.descriptor = json.text();
        else if (key == "Timestamp")
            record.time = json.whole();
        else if (key == "Duration")
            record.duration = json.number();
        else if (key == "Value")
            record.value = json.number();
        else
            json.skip();
    }
    return record;
}

void ZtjsonParts::entry_i(JsonPull& json, Entry entry) {
    const auto id = static_cast<std::uint32_t>(entry.id);
    if (!entry.isSystem && id == 0) return json.fail("a metric has the id 0");
    if (!entry.isSystem) m_types[id] = metricTypeOf(entry.type);
    m_system ? void(m_waiting.emplace_back(std::move(entry))) : writeEntry_i(entry);
}

void ZtjsonParts::writeEntry_i(const Entry& entry) {
    m_line.end();
    m_metric = 0;
    entry.isSystem ? system_i(entry) : metric_i(entry);
}

void ZtjsonParts::system_i(const Entry& entry) {
    SystemDescription system = describeSystem(entry.system);
    if (m_hasSystem) return writeStop(system.stop, system.durationSec, m_target.lines);
    m_clock = TickClock::fromSpan(system.start, system.stop, system.durationSec);
    m_system = std::move(system);
}

// Records wait until enough of them tell the frequency of the clock, which the header gives with six digits:
// times in states are whole ticks. The first of them can stand in a later part.
void ZtjsonParts::take_i(JsonPull& json, Record record) {
    if (!m_hasSystem && !m_system) return json.fail("a record stands before the description of the machine");
    if (!m_types.contains(static_cast<std::uint32_t>(record.id)) && m_target.isPartAlone && record.id != 0) {
        Entry unknown;
        unknown.id = record.id;
        entry_i(json, std::move(unknown));
    }
    if (!m_types.contains(static_cast<std::uint32_t>(record.id)))
        return json.fail("metric " + std::to_string(record.id) +
                         " is not described in this part or one before it");
    if (!m_system) return record_i(record);
    constexpr std::size_t ENOUGH_TIMES = 64;
    constexpr std::size_t MOST_WAITING = 16384;
    if (isTime_i(record)) ++m_waitingTimes;
    m_waiting.emplace_back(std::move(record));
    if (m_waitingTimes >= ENOUGH_TIMES || m_waiting.size() >= MOST_WAITING) openRun_i();
}

bool ZtjsonParts::isTime_i(const Record& record) const {
    const auto type = m_types.find(static_cast<std::uint32_t>(record.id));
    return type != m_types.end() && type->second == METRIC_RESIDENCY;
}

bool ZtjsonParts::makes_i(const TickClock& clock) const {
    const auto factor = static_cast<double>(clock.factor());
    return std::all_of(m_waiting.begin(), m_waiting.end(), [&](const Waiting& waiting) {
        const auto* const record = std::get_if<Record>(&waiting);
        if (record == nullptr || !isTime_i(*record) || !std::isfinite(record->value)) return true;
        return std::round(record->value / factor) * factor == record->value;
    });
}

void ZtjsonParts::findClock_i() {
    constexpr int NEIGHBOURS = 256;
    float below = m_clock.frequencyMHz();
    float above = below;
    for (int i = 0; i < NEIGHBOURS && m_waitingTimes > 0; ++i) {
        if (makes_i(TickClock(below))) m_clock = TickClock(below);
        if (makes_i(TickClock(above))) m_clock = TickClock(above);
        if (makes_i(m_clock)) break;
        below = std::nextafter(below, 0.0F);
        above = std::nextafter(above, INFINITY);
    }
}

void ZtjsonParts::openRun_i() {
    if (!m_system) return;
    findClock_i();
    m_system->tscMHz = m_clock.frequencyMHz();
    writeSystem(*m_system, m_target.lines);
    m_system.reset();
    m_hasSystem = true;
    for (const Waiting& waiting : m_waiting) {
        if (const auto* const entry = std::get_if<Entry>(&waiting))
            writeEntry_i(*entry);
        else if (const auto* const record = std::get_if<Record>(&waiting))
            record_i(*record);
        else
            endPart_i();
    }
    m_waiting.clear();
}

ZtjsonParts::Id ZtjsonParts::entityOf_i(const std::string& name) {
    const auto [known, isNew] = m_entities.try_emplace(name, 0);
    if (isNew) known->second = m_handles.entity(name);
    return known->second;
}

ZtjsonParts::Id ZtjsonParts::descriptorOf_i(const std::string& name, const std::string& state,
                                            bool hasState) {
    const auto [known, isNew] = m_descriptors.try_emplace({name, {hasState, state}}, 0);
    if (!isNew) return known->second;
    known->second = m_handles.descriptor(name, hasState ? &state : nullptr);
    m_states.try_emplace(name, known->second);
    return known->second;
}

ZtjsonParts::Id ZtjsonParts::quantityOf_i(const Entry& entry) {
    if (entry.quantity.empty() && entry.units.empty()) return 0;
    const auto [known, isNew] = m_quantities.try_emplace({entry.quantity, entry.units}, 0);
    if (isNew) known->second = m_handles.quantity({entry.quantity, entry.units, 0, 0, 1});
    return known->second;
}

void ZtjsonParts::metric_i(const Entry& entry) {
    const auto id = static_cast<std::uint32_t>(entry.id);
    Metric metric;
    metric.type = metricTypeOf(entry.type);
    const Id quantity = quantityOf_i(entry);
    std::vector<Part> parts;
    for (const Pair& pair : entry.pairs) {
        const bool hasState = !pair.state.empty();
        const bool hasDescriptor = hasState || !pair.descriptor.empty();
        const Id descriptor = hasDescriptor ? descriptorOf_i(pair.descriptor, pair.state, hasState) : 0;
        parts.push_back({entityOf_i(pair.entity), descriptor, hasState ? pair.state : pair.descriptor});
        metric.parts.emplace(pair.descriptor, parts.back());
    }
    if (metric.type == METRIC_DELTA && parts.empty()) metric.entity = entityOf_i(entry.name);
    if (metric.type == METRIC_DELTA && !parts.empty()) metric.entity = parts.front().entity;
    emit::JsonLine line(key::DEFINITION, definition::METRIC);
    line.member(key::ID, id).member(key::NAME, entry.name).member(key::GROUP, entry.group);
    line.member(key::TYPE, unsigned{metric.type});
    if (quantity != 0) line.member(key::QUANTITY, quantity);
    line.key(key::LEGEND).beginList();
    for (const std::string& state : entry.states) {
        const auto known = m_states.find(state);
        line.beginObject();
        known != m_states.end() ? line.member(key::HANDLE, known->second) : line.member(key::STRING, state);
        line.endObject();
    }
    line.endList().key(key::DESCRIPTORS).beginList();
    for (const Part& part : parts) {
        line.beginList().value(part.entity);
        (part.descriptor != 0 ? line.value(part.descriptor) : line.null()).endList();
    }
    line.endList().writeTo(m_target.lines);
    m_metrics.insert_or_assign(id, std::move(metric));
}

// Which entity and descriptor a record is about. A delta names the state in place of the entity; one that the
// message has already is of the next entity with that state.
void ZtjsonParts::findPart_i(Metric& metric, const Record& record, Id& entity, Id& descriptor) {
    const bool hasDescriptor = record.descriptor != NO_DESCRIPTOR;
    descriptor = 0;
    if (metric.type != METRIC_DELTA) {
        entity = entityOf_i(record.entity);
        if (!hasDescriptor) return;
        const auto [first, last] = metric.parts.equal_range(record.descriptor);
        for (auto part = first; part != last; ++part)
            if (part->second.entity == entity) descriptor = part->second.descriptor;
        if (descriptor == 0 && first != last) descriptor = first->second.descriptor;
        if (descriptor == 0) descriptor = descriptorOf_i(record.descriptor, {}, false);
        return;
    }
    entity = metric.entity;
    if (!hasDescriptor) return;
    const auto [first, last] = metric.parts.equal_range(record.descriptor);
    for (auto part = first; part != last; ++part) {
        if (part->second.state != record.entity ||
            m_used.contains({part->second.entity, part->second.descriptor}))
            continue;
        entity = part->second.entity;
        descriptor = part->second.descriptor;
        break;
    }
    if (descriptor == 0)
        descriptor = descriptorOf_i(record.descriptor, record.entity, record.entity != record.descriptor);
}

void ZtjsonParts::record_i(const Record& record) {
    const auto id = static_cast<std::uint32_t>(record.id);
    Metric& metric = m_metrics[id];
    const bool isTraced = metric.type == METRIC_TRANSITION || metric.type == METRIC_EVENT;
    if (m_metric != id || m_time != record.time || isTraced || m_line.count() >= MOST_ELEMENTS)
        m_used.clear();
    Id entity = 0;
    Id descriptor = 0;
    findPart_i(metric, record, entity, descriptor);
    if (m_used.empty()) m_line.begin(id, record.time);
    m_used.insert({entity, descriptor});
    m_metric = id;
    m_time = record.time;
    m_line.element(entity, descriptor, m_clock.ticksOf(record.duration));
    m_line.typed(metric.type, record.value, descriptor, [this](double value) { residency_i(value); });
}

// Ticks, as many as come out as the same number of microseconds again, if there is such a number.
void ZtjsonParts::residency_i(double value) {
    const auto factor = static_cast<double>(m_clock.factor());
    double ticks = value / factor;
    if (ticks >= 0 && !std::signbit(value) && ticks < 0x1p53) {
        const auto whole = static_cast<std::uint64_t>(std::llround(ticks));
        if (static_cast<double>(whole) * factor == value) return m_line.number(whole);
    }
    if (ticks * factor == value) return m_line.real(ticks);  // with the sign of a 0
    for (const double end : {0.0, static_cast<double>(INFINITY)})
        if (const double next = std::nextafter(ticks, end); next * factor == value) ticks = next;
    m_line.real(ticks);
}

}  // namespace host::importers
