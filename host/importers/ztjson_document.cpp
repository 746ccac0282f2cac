#include "host/importers/ztjson_document.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "host/emit/json_line.h"
#include "host/importers/metric_types.h"
#include "host/importers/state_order.h"
#include "host/importers/ztjson_system.h"

namespace host::importers {

namespace key = emit::key;
namespace definition = emit::definition;

namespace {

// Whether values of the type are told by state, or as one number; both in a sampled value.
bool canHaveStates(std::uint8_t type) {
    return type != METRIC_DELTA;
}
bool canBeNumber(std::uint8_t type) {
    return type == METRIC_DELTA || type == METRIC_VALUE;
}

// Ids of entities, far apart: the writer tells series by the sum of the entity's id and a hash of its name,
// and names that differ in a digit have hashes that are near to each other.
std::uint32_t spread(std::uint32_t number) {
    constexpr std::uint64_t FIRST = std::uint64_t{1} << 24;  // other handles have those below
    constexpr std::uint64_t COUNT = (std::uint64_t{1} << 30) - FIRST;
    constexpr std::uint64_t STEP = 99991;  // has no factor in common with the count
    return static_cast<std::uint32_t>(FIRST + number * STEP % COUNT);
}

// The type of a metric whose series are of the other form.
std::uint8_t otherType(bool hasStates) {
    return hasStates ? METRIC_RESIDENCY : METRIC_DELTA;
}

bool isWhole(double value) {
    return value >= 0 && !std::signbit(value) && value < 0x1p53 && value == std::trunc(value);
}

}  // namespace

void ZtjsonDocument::read(JsonPull& json, std::string key) {
    do readMember_i(json, key);
    while (m_target.lines.isOpen() && json.nextKey(key));
    if (!m_hasSystem && !json.failed()) writeSystem_i(nullptr);
    if (m_inexact > 0)
        m_target.note(std::to_string(m_inexact) + " times are of a clock that is not known exactly");
}

void ZtjsonDocument::readMember_i(JsonPull& json, const std::string& key) {
    if (key == "systemMetaData") return readSystem_i(json);
    if (key != "data") return json.skip();
    json.enterObject();
    Category category;
    while (m_target.lines.isOpen() && json.nextKey(category.name)) {
        category.read(json);
        if (!category.series.empty()) category_i(category);
        category = Category();
    }
}

void ZtjsonDocument::readSystem_i(JsonPull& json) {
    SystemMembers members;
    std::string group;
    json.enterObject();
    while (json.nextKey(group)) readSystemMembers(json, members);
    m_system = describeSystem(members);
}

// The frequency of the clock is the one that the header's times tell, if the times of the first category are
// possible with it. Otherwise a tick is a microsecond.
void ZtjsonDocument::writeSystem_i(const Category* first) {
    m_hasSystem = true;
    m_clock = TickClock::fromSpan(m_system.start, m_system.stop, m_system.durationSec);
    if (first == nullptr || !suits_i(m_clock, *first)) m_clock = TickClock();
    m_system.tscMHz = m_clock.frequencyMHz();
    writeSystem(m_system, m_target.lines);
}

bool ZtjsonDocument::suits_i(const TickClock& clock, const Category& category) const {
    const auto factor = static_cast<double>(clock.factor());
    const bool isResidency = metricTypeOf(category.type) == METRIC_RESIDENCY;
    for (const Series& series : category.series) {
        std::uint64_t ticks = 0;
        for (const Point& point : series.points)
            if (!clock.ticksOfSingle(point.end, ticks) ||
                !clock.ticksOfSingle(point.end - point.begin, ticks))
                return false;
        if (!isResidency) continue;
        for (const Value& value : series.values)
            if (std::isfinite(value.number) && std::round(value.number / factor) * factor != value.number)
                return false;
    }
    return true;
}

std::uint64_t ZtjsonDocument::ticks_i(std::uint64_t microseconds) {
    std::uint64_t ticks = 0;
    if (!m_clock.ticksOfSingle(microseconds, ticks)) ++m_inexact;
    return ticks;
}

void ZtjsonDocument::category_i(Category& category) {
    if (!m_hasSystem) writeSystem_i(&category);
    define_i(category);
    deliver_i(category);
}

ZtjsonDocument::Id ZtjsonDocument::entity_i(const std::string& name, std::size_t occurrence) {
    std::vector<Id>& known = m_entities[name];
    while (known.size() <= occurrence) known.push_back(m_handles.entity(spread(m_entityCount++), name));
    return known[occurrence];
}

ZtjsonDocument::Id ZtjsonDocument::descriptor_i(const std::string& name, bool hasState) {
    const auto found = m_descriptors.find({name, hasState});
    if (found != m_descriptors.end()) return found->second;
    const Id id = m_handles.descriptor(name, hasState ? &name : nullptr);
    return m_descriptors.try_emplace({name, hasState}, id).first->second;
}

ZtjsonDocument::Id ZtjsonDocument::defineQuantity_i(const Category& category) {
    constexpr unsigned INSTANTANEOUS = 9;
    if (category.units.empty()) return 0;
    const Category::Unit& shown = category.units.front();
    HandleLines::Quantity quantity{shown.name, shown.units, shown.isCalculated ? INSTANTANEOUS : 0, 0, 1};
    if (category.units.size() > 1) {
        const Category::Unit& rate = category.units[1];
        quantity.rate = m_handles.quantity({rate.name, rate.units, 0, 0, 1});
        quantity.factor = rate.conversion;
    }
    return m_handles.quantity(quantity);
}

// Metrics of one name that differ after a zero byte show as one name.
ZtjsonDocument::Id ZtjsonDocument::defineMetric_i(const Category& category, std::uint8_t type) {
    Metric& metric = m_metrics.emplace_back();
    const auto id = static_cast<Id>(m_metrics.size());
    metric.type = type;
    const Id quantity = defineQuantity_i(category);
    metric.isInstant = type == METRIC_EVENT;
    if (type == METRIC_VALUE) metric.isInstant = quantity == 0 || category.units.front().isCalculated;
    metric.isRate = quantity != 0 && category.units.back().isCalculated;
    const bool showsRate = metric.isRate && !category.series.front().hasStates;
    metric.conversion = showsRate ? category.units.back().conversion : 1.0;
    for (const std::string& state : category.states) metric.states.push_back(descriptor_i(state, true));

    emit::JsonLine line(key::DEFINITION, definition::METRIC);
    line.member(key::ID, id).member(key::NAME, category.name).member(key::TYPE, unsigned{type});
    if (quantity != 0) line.member(key::QUANTITY, quantity);
    line.key(key::LEGEND).beginList();
    for (const std::size_t state : orderOfStates(category.states))
        line.beginObject().member(key::HANDLE, metric.states[state]).endObject();
    line.endList().writeTo(m_target.lines);
    return id;
}

// The states of a category whose first series has none have numbers and no names.
void ZtjsonDocument::nameStates_i(Category& category) {
    constexpr std::uint32_t MOST = 65536;
    std::uint32_t count = 0;
    for (const Series& series : category.series)
        for (const Value& value : series.values)
            if (series.hasStates && value.state < MOST) count = std::max(count, value.state + 1);
    // The empty name comes first in their order, as it counts as 0.
    for (std::uint32_t state = 0; state < count; ++state)
        category.states.push_back(state == 0 ? std::string() : std::to_string(state));
}

// A category whose series do not all suit its type comes from several metrics of one name.
void ZtjsonDocument::define_i(Category& category) {
    if (category.states.empty()) nameStates_i(category);
    category.name.append(m_categories[category.name]++, '\0');
    const std::uint8_t type = metricTypeOf(category.type);
    Id plain = 0;
    Id other = 0;
    std::unordered_map<std::string, std::size_t> occurrences;
    for (Series& series : category.series) {
        // The friendly name of a delta is its state's, that of a value its entity's, as the key.
        const bool isDelta = !series.hasStates && series.name != series.key;
        const bool suits =
            series.hasStates ? canHaveStates(type) : canBeNumber(type) && (!isDelta || type == METRIC_DELTA);
        Id& metric = suits ? plain : other;
        if (metric == 0) metric = defineMetric_i(category, suits ? type : otherType(series.hasStates));
        series.metric = metric;
        std::string name = series.key;
        const std::size_t occurrence = occurrences[name]++;
        if (m_metrics[metric - 1].type == METRIC_DELTA) {
            if (!series.name.empty()) series.descriptor = descriptor_i(series.name, false);
            // What does not end in the state has been cut at a zero byte.
            name.ends_with(series.name) ? name.resize(name.size() - series.name.size())
                                        : name.push_back('\0');
        }
        // The writer enters the state of a number too, where others of the category have states.
        const std::vector<Id>& states = m_metrics[metric - 1].states;
        if (m_metrics[metric - 1].type == METRIC_VALUE && !series.hasStates && !states.empty())
            series.descriptor = states.front();
        series.entity = entity_i(name, occurrence);
    }
}

// Puts the series together by time. Each begins after the one before it in the document, and goes on in its
// own order.
void ZtjsonDocument::deliver_i(Category& category) {
    std::size_t begun = 0;
    std::vector<Series>& all = category.series;
    while (m_target.lines.isOpen()) {
        const std::size_t open = std::min(begun + 1, all.size());
        const Series* next = nullptr;
        for (std::size_t i = 0; i < open; ++i)
            if (all[i].isLeft() &&
                (next == nullptr || all[i].points[all[i].next].end < next->points[next->next].end))
                next = &all[i];
        if (next == nullptr && open == all.size()) break;
        const std::uint64_t time = next != nullptr ? next->points[next->next].end : 0;
        Id metric = 0;
        for (std::size_t i = 0; i < std::min(begun + 1, all.size()); ++i) {
            Series& series = all[i];
            if (!series.isLeft() || series.points[series.next].end != time) continue;
            const std::uint8_t type = m_metrics[series.metric - 1].type;
            if (metric != series.metric || type == METRIC_TRANSITION || type == METRIC_EVENT)
                m_line.begin(series.metric, m_system.start + ticks_i(time));
            metric = series.metric;
            begun = std::max(begun, i + 1);
            point_i(category, series);
        }
        m_line.end();
    }
}

void ZtjsonDocument::point_i(const Category& category, Series& series) {
    const std::size_t last = series.valueEnd(series.next);
    const Point& point = series.points[series.next++];
    if (!series.hasStates) return numbers_i(series, point.firstValue, last, point.end - point.begin);
    for (std::size_t i = point.firstValue; i < last; ++i)
        value_i(category, series, point, series.values[i], i == point.firstValue);
}

void ZtjsonDocument::numbers_i(const Series& series, std::size_t first, std::size_t last,
                               std::uint64_t duration) {
    const Metric& metric = m_metrics[series.metric - 1];
    m_line.element(series.entity, series.descriptor, metric.isInstant ? 0 : ticks_i(duration));
    const double low = stored_i(series.values[first].number, metric, duration);
    if (last - first > 1)
        m_line.range('r', low, stored_i(series.values[first + 1].number, metric, duration));
    else if (metric.type == METRIC_DELTA)
        m_line.increase(low);
    else
        m_line.real(low);
}

// The number of which a rate was reckoned.
double ZtjsonDocument::stored_i(double shown, const Metric& metric, std::uint64_t duration) const {
    if (!metric.isRate || duration == 0) return shown;
    const auto time = static_cast<double>(duration);
    const auto rate = [&](double value) { return value * metric.conversion * 1000000.0 / time; };
    const double guess = shown * time / 1000000.0 / metric.conversion;
    if (const double whole = std::round(guess); rate(whole) == shown) return whole;
    double below = guess;
    double above = guess;
    constexpr int NEIGHBOURS = 8;
    for (int i = 0; i < NEIGHBOURS; ++i) {
        if (rate(below) == shown) return below;
        if (rate(above) == shown) return above;
        below = std::nextafter(below, -INFINITY);
        above = std::nextafter(above, INFINITY);
    }
    return guess;
}

void ZtjsonDocument::residency_i(double microseconds) {
    const auto factor = static_cast<double>(m_clock.factor());
    const double ticks = microseconds / factor;
    const double whole = std::round(ticks);
    if (isWhole(whole) && !std::signbit(microseconds) && whole * factor == microseconds)
        m_line.number(static_cast<std::uint64_t>(whole));
    else
        m_line.real(ticks);
}

// A value of one state. The first of a point gives its interval.
void ZtjsonDocument::value_i(const Category& category, const Series& series, const Point& point,
                             const Value& value, bool isFirst) {
    const Metric& metric = m_metrics[series.metric - 1];
    const Id state = value.state < metric.states.size() ? metric.states[value.state] : 0;
    const std::string name = state != 0 ? category.states[value.state] : std::to_string(value.state);
    const std::uint64_t interval = point.end - point.begin;
    const bool isTime = isWhole(value.number);  // how long it was in the state
    const std::uint64_t own = isFirst || !isTime ? interval : static_cast<std::uint64_t>(value.number);
    const std::uint64_t duration = metric.isInstant ? 0 : ticks_i(own);
    const bool isOwnTime = value.number == static_cast<double>(metric.isInstant ? 1 : own);
    switch (metric.type) {
        case METRIC_RESIDENCY:
            m_line.element(series.entity, state, duration);
            return residency_i(value.number);
        case METRIC_VALUE:
            m_line.element(series.entity, isOwnTime ? 0 : state, duration);
            // A value that is neither a time nor a number was a handle that says nothing.
            if (isOwnTime) return m_line.text(name);
            return value.number == 0 && !std::signbit(value.number) ? m_line.handle(series.entity)
                                                                    : m_line.real(value.number);
        case METRIC_TRANSITION:
        case METRIC_EVENT:
            m_line.element(series.entity, 0, duration);
            return m_line.text(name);
        default:
            m_line.element(series.entity, state, duration);
            return m_line.none();
    }
}

}  // namespace host::importers
