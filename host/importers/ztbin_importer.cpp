#include "host/importers/ztbin_importer.h"

#include <charconv>
#include <cmath>
#include <utility>

#include "host/emit/json_line.h"
#include "host/importers/metric_types.h"
#include "host/importers/system_line.h"
#include "host/importers/ztbin_framing.h"
#include "plugins/numbers.h"
#include "plugins/packing.h"

namespace host::importers {

namespace key = emit::key;
namespace definition = emit::definition;
namespace message = emit::message;

namespace bin = pwr::bin;
using bin::MsgType;

namespace {

constexpr std::size_t INDICES = bin::MAX_U16 + 1;
// A message of a file that holds all values at one time must not take all memory.
constexpr std::size_t MOST_ELEMENTS = 65536;

template <typename T>
T at(std::string_view payload, std::size_t field) {
    return packing::get<T>(payload.data() + field);
}

// The number that a float was most likely made of: the one with the fewest digits.
double widened(float value) {
    std::string digits;
    base::appendNumber(digits, value);
    double number = static_cast<double>(value);
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return number;
}

}  // namespace

Sniff sniffZtbin(std::string_view head, bool isWhole) {
    constexpr std::size_t LEAST = bin::HEAD_LENGTH + bin::STRING_FIXED_LENGTH;
    if (head.size() > bin::HEAD_TYPE && head[bin::HEAD_TYPE] > static_cast<char>(MsgType::SystemMeta))
        return Sniff::No;
    if (head.size() < LEAST) return isWhole ? Sniff::No : Sniff::NeedsMore;
    const std::size_t length = at<std::uint16_t>(head, 0);
    if (head[bin::HEAD_TYPE] == static_cast<char>(MsgType::SystemMeta))
        return length == bin::SYSTEM_LENGTH ? Sniff::Yes : Sniff::No;
    const std::size_t text = at<std::uint16_t>(head, bin::HEAD_LENGTH + bin::STRING_LENGTH);
    const bool isString = head[bin::HEAD_TYPE] == 0 && length == bin::STRING_FIXED_LENGTH + text;
    return isString ? Sniff::Yes : Sniff::No;
}

// The part with the run's first string comes first; the others by the end of the collection as it was known
// when they were written, by their data, and by the strings that they add, which are numbered through the
// run.
std::optional<PartKey> placeZtbin(Input& part) {
    PartKey key;
    key.placeBehind = UINT64_MAX;  // without data
    bool hasSystem = false;
    MsgType type{};
    std::string_view payload;
    std::string fault;
    for (BufferedBytes& content = part.content(); peekZtbinRecord(content, type, payload, fault);) {
        if (type == MsgType::StringStore && key.definitions == UINT64_MAX)
            key.definitions = at<bin::Index>(payload, bin::STRING_INDEX);
        if (type == MsgType::SystemMeta) {
            hasSystem = true;
            key.run = std::string(payload.substr(bin::SYSTEM_START, sizeof(std::uint64_t)));
            // Strings keep their indices, so those of names are the same in all parts.
            key.run += payload.substr(bin::SYSTEM_HFM_FREQUENCY);
            key.place = key.definitions == 1 ? 0 : at<std::uint64_t>(payload, bin::SYSTEM_STOP) | 1;
        } else if (type == MsgType::MetricData) {
            key.placeBehind = at<std::uint64_t>(payload, bin::DATA_TIMESTAMP);
            break;
        }
        skipZtbinRecord(content, payload);
    }
    if (!hasSystem) return std::nullopt;
    return key;
}

std::unique_ptr<Importer> makeZtbinImporter(const ImportTarget& target) {
    return std::make_unique<ZtbinImporter>(target);
}

bool ZtbinImporter::read(Input& part, Damage& damage) {
    BufferedBytes& content = part.content();
    m_strings.resize(INDICES);
    m_descriptors.resize(INDICES);
    m_hasPartSystem = false;
    m_fault.clear();
    MsgType type{};
    std::string_view payload;
    while (m_target.lines.isOpen() && peekZtbinRecord(content, type, payload, m_fault)) {
        if (!record_i(type, payload)) break;
        skipZtbinRecord(content, payload);
    }
    m_line.end();
    m_metric = nullptr;
    if (m_fault.empty() && !m_hasPartSystem && m_target.lines.isOpen() && !part.isStopped())
        m_fault = "the file ends without a SystemMeta record";
    if (m_hasSystem && m_target.lines.isOpen())
        emit::JsonLine(key::MESSAGE, message::FLUSH).writeTo(m_target.lines);
    damage = {content.offset(), part.isStopped() ? std::string() : m_fault};
    return damage.what.empty();
}

bool ZtbinImporter::record_i(MsgType type, std::string_view payload) {
    switch (type) {
        case MsgType::StringStore:
            return string_i(payload);
        case MsgType::SystemMeta:
            return system_i(payload);
        case MsgType::DescriptorMeta:
            return descriptor_i(payload);
        case MsgType::MetricMeta:
            return metric_i(payload);
        case MsgType::MetricData:
            return data_i(payload);
    }
    return false;
}

bool ZtbinImporter::fail_i(const std::string& what) {
    m_fault = what;
    return false;
}

// Whether the parts are missing in which the run's first string and others stand.
bool ZtbinImporter::isBehindOthers_i() const {
    return m_target.isPartAlone && !m_strings[1].isDefined;
}

const std::string* ZtbinImporter::text_i(Index index) {
    if (index != 0 && (m_strings[index].isDefined || isBehindOthers_i())) return &m_strings[index].text;
    fail_i("string " + std::to_string(index) + " is not defined" +
           (m_strings[1].isDefined ? "" : ", as the first part of the run is missing"));
    return nullptr;
}

bool ZtbinImporter::string_i(std::string_view payload) {
    const auto index = at<Index>(payload, bin::STRING_INDEX);
    if (index == 0) return fail_i("a string has index 0, which refers to nothing");
    if (m_strings[index].isDefined)
        return fail_i("string " + std::to_string(index) + " is defined again: names can't be told apart");
    m_strings[index].text = payload.substr(bin::STRING_FIXED_LENGTH);
    m_strings[index].isDefined = true;
    return true;
}

bool ZtbinImporter::system_i(std::string_view payload) {
    if (m_hasPartSystem) return fail_i("a second SystemMeta record");
    m_hasPartSystem = true;
    SystemDescription system;
    system.stop = at<std::uint64_t>(payload, bin::SYSTEM_STOP);
    system.durationSec = widened(at<float>(payload, bin::SYSTEM_DURATION));
    if (m_hasSystem) {
        writeStop(system.stop, system.durationSec, m_target.lines);
        return true;
    }
    const std::pair<std::string*, std::size_t> texts[] = {{&system.platform, bin::SYSTEM_PLATFORM_NAME},
                                                          {&system.codeName, bin::SYSTEM_CPU_NAME},
                                                          {&system.nativeModel, bin::SYSTEM_CPU_NATIVE_NAME},
                                                          {&system.pchNames, bin::SYSTEM_PCH_NAME},
                                                          {&system.host, bin::SYSTEM_HOST_NAME},
                                                          {&system.osType, bin::SYSTEM_OS_TYPE},
                                                          {&system.osName, bin::SYSTEM_OS_NAME}};
    for (const auto& [text, field] : texts) {
        const std::string* const found = text_i(at<Index>(payload, field));
        if (found == nullptr) return false;
        *text = *found;
    }
    system.start = at<std::uint64_t>(payload, bin::SYSTEM_START);
    system.hfmMHz = at<float>(payload, bin::SYSTEM_HFM_FREQUENCY);
    system.lfmMHz = at<float>(payload, bin::SYSTEM_LFM_FREQUENCY);
    system.cpuMHz = at<float>(payload, bin::SYSTEM_CPU_FREQUENCY);
    system.busMHz = at<float>(payload, bin::SYSTEM_BUS_FREQUENCY);
    system.platformId = at<std::uint32_t>(payload, bin::SYSTEM_PLATFORM_ID);
    system.packageCount = at<std::uint16_t>(payload, bin::SYSTEM_PACKAGES);
    system.moduleCount = at<std::uint16_t>(payload, bin::SYSTEM_MODULES);
    system.coreCount = at<std::uint16_t>(payload, bin::SYSTEM_CORES);
    system.threadCount = at<std::uint16_t>(payload, bin::SYSTEM_THREADS);
    m_clock = TickClock::fromSpan(system.start, system.stop, system.durationSec);
    system.tscMHz = m_clock.frequencyMHz();
    m_hasSystem = true;
    writeSystem(system, m_target.lines);
    return true;
}

bool ZtbinImporter::descriptor_i(std::string_view payload) {
    const auto index = at<Index>(payload, bin::DESCRIPTOR_INDEX);
    Descriptor& descriptor = m_descriptors[index];
    if (index == 0) return fail_i("a descriptor has index 0, which refers to nothing");
    if (descriptor.isDefined) return fail_i("descriptor " + std::to_string(index) + " is defined again");
    descriptor.state = at<Index>(payload, bin::DESCRIPTOR_STATE);
    descriptor.name = at<Index>(payload, bin::DESCRIPTOR_NAME);
    descriptor.isDefined = text_i(descriptor.state) != nullptr && text_i(descriptor.name) != nullptr;
    if (descriptor.isDefined) m_namedStates.try_emplace(m_strings[descriptor.name].text, index);
    return descriptor.isDefined;
}

// Finds the descriptor's id, and defines it at its first use. Writers take a state's name from its attribute,
// and without one from the descriptor; `hasEmptyState`: it has one, which is empty.
bool ZtbinImporter::part_i(Index index, bool hasEmptyState, Id& id) {
    Descriptor& descriptor = m_descriptors[index];
    if (index != 0 && !descriptor.isDefined && !isBehindOthers_i())
        return fail_i("descriptor " + std::to_string(index) + " is not defined");
    if (descriptor.isDefined && descriptor.id == 0) define_i(descriptor, hasEmptyState);
    id = descriptor.id;
    return true;
}

void ZtbinImporter::define_i(Descriptor& descriptor, bool hasEmptyState) {
    const std::string& state = m_strings[descriptor.state].text;
    const bool hasAttribute = hasEmptyState || !state.empty();
    descriptor.id = m_handles.descriptor(m_strings[descriptor.name].text, hasAttribute ? &state : nullptr);
}

bool ZtbinImporter::entity_i(Index name, Id& id) {
    if (text_i(name) == nullptr) return false;
    String& string = m_strings[name];
    if (string.entity == 0) string.entity = m_handles.entity(string.text);
    id = string.entity;
    return true;
}

bool ZtbinImporter::quantity_i(std::string_view payload, Id& id) {
    id = 0;
    if (at<std::uint16_t>(payload, bin::METRIC_HAS_QUANTITY) == 0) return true;
    const std::string* const name = text_i(at<Index>(payload, bin::METRIC_QUANTITY_NAME));
    const std::string* const units =
        name != nullptr ? text_i(at<Index>(payload, bin::METRIC_UNITS)) : nullptr;
    if (units == nullptr) return false;
    const auto [known, isNew] = m_quantities.try_emplace(*name + '\0' + *units, 0);
    if (isNew) known->second = m_handles.quantity({*name, *units, 0, 0, 1});
    id = known->second;
    return true;
}

bool ZtbinImporter::metric_i(std::string_view payload) {
    Metric metric;
    metric.id = at<std::uint32_t>(payload, bin::METRIC_ID);
    const std::string* const group = text_i(at<Index>(payload, bin::METRIC_GROUP));
    const std::string* const name = group != nullptr ? text_i(at<Index>(payload, bin::METRIC_NAME)) : nullptr;
    const std::string* const type = name != nullptr ? text_i(at<Index>(payload, bin::METRIC_TYPE)) : nullptr;
    Id quantity = 0;
    if (type == nullptr || !quantity_i(payload, quantity)) return false;
    metric.type = metricTypeOf(*type);
    emit::JsonLine line(key::DEFINITION, definition::METRIC);
    line.member(key::ID, metric.id).member(key::NAME, *name).member(key::GROUP, *group);
    line.member(key::TYPE, unsigned{metric.type});
    if (quantity != 0) line.member(key::QUANTITY, quantity);

    std::size_t place = bin::METRIC_FIXED_LENGTH;
    std::vector<Id> entities;
    line.key(key::DESCRIPTORS).beginList();
    for (auto left = at<std::uint16_t>(payload, bin::METRIC_ATTRIBUTE_COUNT); left > 0; --left) {
        const auto part = at<Index>(payload, place + sizeof(Index));
        Id entity = 0;
        Id descriptor = 0;
        if (!entity_i(at<Index>(payload, place), entity) || !part_i(part, false, descriptor)) return false;
        line.beginList().value(entity);
        (part != 0 ? line.value(descriptor) : line.null()).endList();
        metric.entitiesByPart.try_emplace(part, entity);
        if (entities.empty() || entities.back() != entity) entities.push_back(entity);
        place += bin::METRIC_ATTRIBUTE_LENGTH;
    }
    line.endList().key(key::LEGEND).beginList();
    for (; place < payload.size(); place += bin::METRIC_LEGEND_LENGTH) {
        const std::string* const state = text_i(at<Index>(payload, place));
        if (state == nullptr) return false;
        const auto known = m_namedStates.find(*state);
        Id descriptor = 0;
        if (known != m_namedStates.end() && !part_i(known->second, false, descriptor)) return false;
        line.beginObject();
        descriptor != 0 ? line.member(key::HANDLE, descriptor) : line.member(key::STRING, *state);
        line.endObject();
    }
    line.endList().writeTo(m_target.lines);
    if (metric.type == METRIC_DELTA && !entity_i(at<Index>(payload, bin::METRIC_NAME), metric.entity))
        return false;
    m_metrics.insert_or_assign(metric.id, std::move(metric));
    m_metric = nullptr;
    return true;
}

const ZtbinImporter::Metric* ZtbinImporter::metricOf_i(Id id) {
    const auto found = m_metrics.find(id);
    if (found != m_metrics.end()) return &found->second;
    if (!isBehindOthers_i()) return nullptr;
    emit::JsonLine(key::DEFINITION, definition::METRIC)
        .member(key::ID, id)
        .member(key::NAME, std::string())
        .member(key::TYPE, unsigned{METRIC_UNKNOWN})
        .writeTo(m_target.lines);
    return &m_metrics.try_emplace(id, Metric{id, METRIC_UNKNOWN, 0, {}}).first->second;
}

bool ZtbinImporter::data_i(std::string_view payload) {
    const auto id = at<std::uint32_t>(payload, bin::DATA_METRIC_ID);
    const auto time = at<std::uint64_t>(payload, bin::DATA_TIMESTAMP);
    const bool isTraced =
        m_metric != nullptr && (m_metric->type == METRIC_TRANSITION || m_metric->type == METRIC_EVENT);
    if (m_metric == nullptr || m_metric->id != id || m_time != time || isTraced ||
        m_line.count() >= MOST_ELEMENTS) {
        if (!m_hasSystem) return fail_i("a MetricData record stands before the SystemMeta record");
        m_metric = metricOf_i(id);
        if (m_metric == nullptr) return fail_i("metric " + std::to_string(id) + " is not described");
        m_time = time;
        m_line.begin(id, time);
    }
    const auto name = at<Index>(payload, bin::DATA_NAME);
    const auto part = at<Index>(payload, bin::DATA_DESCRIPTOR);
    const bool isDelta = m_metric->type == METRIC_DELTA;
    Id descriptor = m_descriptors[part].id;
    const bool hasEmptyState = isDelta && m_strings[name].isDefined && m_strings[name].text.empty();
    if (part != 0 && descriptor == 0 && !part_i(part, hasEmptyState, descriptor)) return false;
    Id entity = m_strings[name].entity;
    if (isDelta) {
        const auto known = m_metric->entitiesByPart.find(part);
        entity = known != m_metric->entitiesByPart.end() ? known->second : m_metric->entity;
    } else if (entity == 0 && !entity_i(name, entity)) {
        return false;
    }
    m_line.element(entity, descriptor, ticks_i(at<float>(payload, bin::DATA_DURATION)));
    m_line.typed(m_metric->type, at<float>(payload, bin::DATA_VALUE), descriptor,
                 [this](float value) { residency_i(value); });
    return true;
}

// The elements of a message mostly have one duration.
std::uint64_t ZtbinImporter::ticks_i(float microseconds) {
    if (microseconds == m_lastDuration) return m_lastTicks;
    m_lastDuration = microseconds;
    m_lastTicks = m_clock.ticksOf(static_cast<double>(microseconds));
    return m_lastTicks;
}

// Ticks, as many as come out as the same number of microseconds again.
void ZtbinImporter::residency_i(float value) {
    const auto period = static_cast<double>(m_clock.factor());
    const double ticks = static_cast<double>(value) / period;
    if (ticks >= 0.0 && !std::signbit(value) && ticks < 0x1p63) {
        const auto whole = static_cast<std::uint64_t>(std::llround(ticks));
        if (static_cast<float>(static_cast<double>(whole) * period) == value) return m_line.number(whole);
    }
    m_line.real(ticks);
}

}  // namespace host::importers
