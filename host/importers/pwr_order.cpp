#include "host/importers/pwr_order.h"

#include <algorithm>

#include "pwr/bin/pwr_records.h"

namespace host::importers {

using namespace vyrta;

std::size_t PwrOrder::firstBefore(const PwrLines::MetricRecord& metric, bool isFirst, const Item& item) {
    m_isEarlyTried = false;
    m_early.clear();
    if (m_next >= m_isUsed.size()) return PwrHeader::NO_PLACE;
    const std::size_t first = simulate_i(metric, isFirst, item);
    if (first == PwrHeader::NO_PLACE) return first;
    // A process or thread can be named before it begins, which a look at the times alone misses.
    m_isEarlyTried = true;
    if (simulate_i(metric, isFirst, item) == PwrHeader::NO_PLACE) return PwrHeader::NO_PLACE;
    m_isEarlyTried = false;
    m_early.clear();
    return first;
}

std::size_t PwrOrder::simulate_i(const PwrLines::MetricRecord& metric, bool isFirst, const Item& item) {
    std::size_t first = PwrHeader::NO_PLACE;
    m_simulated = m_next;
    visitNeeds_i(metric, isFirst, item, [&](std::size_t place, bool isMaker) {
        if (m_isUsed[place] || place < m_simulated || first != PwrHeader::NO_PLACE) return;
        if (place != m_simulated || !isMaker) first = place;
        do ++m_simulated;
        while (m_simulated < m_isUsed.size() && m_isUsed[m_simulated]);
    });
    return first;
}

void PwrOrder::mark(const PwrLines::MetricRecord& metric, bool isFirst, const Item& item) {
    if (m_next >= m_isUsed.size()) return;
    const std::vector<const PwrHeader::Process*> early = m_early;
    m_simulated = m_next;
    visitNeeds_i(metric, isFirst, item, [&](std::size_t place, bool) {
        m_isUsed[place] = true;
        while (m_simulated < m_isUsed.size() && m_isUsed[m_simulated]) ++m_simulated;
    });
    m_early = early;
    advance_i();
}

void PwrOrder::advance_i() {
    while (m_next < m_isUsed.size() && m_isUsed[m_next]) ++m_next;
}

// Calls `visit` with the place of a thing after those of the things that it refers to as its parents.
void PwrOrder::visitFamily_i(std::string_view kind, std::uint64_t id, auto visit) const {
    // Families do not go round in circles in a sound file.
    constexpr int MOST_GENERATIONS = 64;
    std::size_t places[MOST_GENERATIONS];
    int count = 0;
    for (const PwrHeader::Info* info = m_header.find(kind, id); info != nullptr && count < MOST_GENERATIONS;
         info = info->parent != NO_ID ? m_header.find(kind, info->parent) : nullptr)
        places[count++] = info->place;
    while (count > 0) visit(places[--count], true);
}

const PwrHeader::Process* PwrOrder::runner_i(const PwrLines::Attribute& attribute, std::uint64_t time) {
    const bool isThread = attribute.type == ATTRIBUTE_KIND_THREAD;
    const PwrHeader::Process* const next = m_isEarlyTried ? m_header.runnerAt(m_simulated) : nullptr;
    if (next != nullptr && (next->tid != 0) == isThread &&
        (isThread ? next->tid : next->pid) == attribute.value) {
        m_early.push_back(next);
        return next;
    }
    return isThread ? m_header.findThread(attribute.value, time)
                    : m_header.findProcess(attribute.value, time);
}

// Whether a traced text has named the state of the field at a place among the attributes.
bool PwrOrder::isStateOfText_i(const PwrLines::MetricRecord& metric,
                               const std::vector<PwrLines::Attribute>& attributes, std::size_t field) const {
    if (metric.metricClass != METRIC_CLASS_TRACED_FINITE_SET_COUNTER &&
        metric.metricClass != METRIC_CLASS_TRACED_EVENT)
        return false;
    // A traced sample has one element.
    const auto begin = attributes.begin() + static_cast<std::ptrdiff_t>(field) + 1;
    return m_header.isNamedBy(attributes[field].value, {begin, attributes.end()});
}

template <typename Visit>
void PwrOrder::visitAttribute_i(const PwrLines::Attribute& attribute, std::uint64_t time, Visit visit) {
    const auto info = [&](std::string_view kind) {
        if (const PwrHeader::Info* const found = m_header.find(kind, attribute.value))
            visit(found->place, true);
    };
    switch (attribute.type) {
        case ATTRIBUTE_KIND_ENTITY:
            return visitFamily_i("entity", attribute.value, visit);
        case ATTRIBUTE_KIND_COLOR:
            return info("color");
        case ATTRIBUTE_KIND_INFO:
            return info("nameid_attribute");
        case ATTRIBUTE_KIND_PROCESS:
        case ATTRIBUTE_KIND_THREAD:
            if (const auto* const runner = runner_i(attribute, time)) visit(runner->place, true);
            return;
        case ATTRIBUTE_KIND_QUANTITY:
            return visitFamily_i("quantity", attribute.value, visit);
        default:
            return;
    }
}

// Calls `visit` with the places of all header records that an item needs, in the order in which it makes them
// if they are not there yet, and with whether it is one that makes such a record.
template <typename Visit>
void PwrOrder::visitNeeds_i(const PwrLines::MetricRecord& metric, bool isFirst, const Item& item,
                            Visit visit) {
    if (item.wakelock) {
        const Wakelock& wakelock = *item.wakelock;
        visitAttribute_i({ATTRIBUTE_KIND_PROCESS, wakelock.pid}, wakelock.lockTime, visit);
        return visitAttribute_i({ATTRIBUTE_KIND_THREAD, wakelock.tid}, wakelock.time, visit);
    }
    // Groups that metrics share are of the one that came first.
    const auto group = [&](std::string_view kind, std::uint32_t id) {
        if (const PwrHeader::Info* const found = m_header.find(kind, id))
            visit(found->place, found->value == metric.id);
    };
    if (isFirst) {
        group("tab_group", metric.tabGroup);
        group("timeline_group", metric.timelineGroup);
        visitFamily_i("quantity", metric.quantity, visit);
    }
    const auto attributes = attributesOf(*item.sample);
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        if (attributes[i].type != ATTRIBUTE_KIND_FIELD) {
            visitAttribute_i(attributes[i], item.time, visit);
        } else if (const PwrHeader::Info* const field = m_header.find("field", attributes[i].value)) {
            const bool isOwnId = attributes[i].value >= FIRST_WRITER_ID;
            visit(field->place, isStateOfText_i(metric, attributes, i) == isOwnId);
        }
    }
}

// Its groups stand first, then what its quantity is made of.
std::optional<PwrOrder::VoidMetric> PwrOrder::voidMetricAt_i(std::size_t place) const {
    const PwrHeader::Place* at = m_header.placeAt(place);
    VoidMetric metric;
    if (at == nullptr || (at->kind != "tab_group" && at->kind != "timeline_group")) return std::nullopt;
    metric.id = at->info->value;
    if (at->kind == "tab_group") at = m_header.placeAt(++place);
    if (metric.id == 0 || at == nullptr || at->kind != "timeline_group" || at->info->value != metric.id)
        return std::nullopt;
    metric.timeline = at->info;
    while ((at = m_header.placeAt(++place)) != nullptr && at->kind == "quantity") metric.quantity = at->id;
    return metric;
}

void PwrOrder::takeGroups_i(std::uint32_t metric) {
    const auto isOfMetric = [&](const PwrHeader::Place& place) {
        return place.kind == "quantity" || (place.kind.ends_with("_group") && place.info->value == metric);
    };
    for (const PwrHeader::Place* at = nullptr;
         (at = m_header.placeAt(m_next)) != nullptr && isOfMetric(*at);) {
        m_isUsed[m_next] = true;
        advance_i();
    }
}

}  // namespace host::importers
