#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "host/importers/pwr_header.h"
#include "host/importers/pwr_lines.h"
#include "host/importers/pwr_wakelocks.h"

namespace host::importers {

// The order in which samples have made the records of the header: each comes about with the first sample that
// needs it.
class PwrOrder {
public:
    // What a block has next: a sample or a wakelock.
    struct Item {
        std::uint64_t time = 0;
        std::size_t size = 0;
        std::optional<inspect::PwrRecord> sample;
        std::optional<Wakelock> wakelock;
    };
    // A metric that has left its groups in the header, but no sample.
    struct VoidMetric {
        std::uint32_t id = 0;
        const PwrHeader::Info* timeline = nullptr;
        std::uint32_t quantity = 0;  // its id, 0 if no record follows
    };

    // `header` must outlive this object. After its finish.
    explicit PwrOrder(const PwrHeader& header) : m_header(header), m_isUsed(header.places, false) {}

    // The place of the first record that would not come in its turn with the item; NO_PLACE if the item's
    // time has come. `isFirst`: the metric has had no sample before.
    std::size_t firstBefore(const PwrLines::MetricRecord& metric, bool isFirst, const Item& item);

    // The processes and threads that the last item looked at refers to though they had not begun by then.
    const std::vector<const PwrHeader::Process*>& early() const { return m_early; }

    // Takes note that the item has been delivered.
    void mark(const PwrLines::MetricRecord& metric, bool isFirst, const Item& item);

    // The first place whose record has not come about.
    std::size_t next() const { return m_next; }

    // Gives up all records in front of a place.
    void skipTo(std::size_t place) { m_next = place; }

    // Takes the records of a void metric that stand next; nothing if there is none, or if it was taken
    // before. `isKnown` says whether a metric of an id has samples.
    template <typename IsKnown>
    std::optional<VoidMetric> takeVoidMetric(IsKnown isKnown) {
        const auto metric = voidMetricAt_i(m_next);
        if (!metric || isKnown(metric->id) || !m_void.insert(metric->id).second) return std::nullopt;
        takeGroups_i(metric->id);
        return metric;
    }

private:
    template <typename Visit>
    void visitNeeds_i(const PwrLines::MetricRecord& metric, bool isFirst, const Item& item, Visit visit);
    template <typename Visit>
    void visitAttribute_i(const PwrLines::Attribute& attribute, std::uint64_t time, Visit visit);
    bool isStateOfText_i(const PwrLines::MetricRecord& metric,
                         const std::vector<PwrLines::Attribute>& attributes, std::size_t field) const;
    void visitFamily_i(std::string_view kind, std::uint64_t id, auto visit) const;
    std::size_t simulate_i(const PwrLines::MetricRecord& metric, bool isFirst, const Item& item);
    const PwrHeader::Process* runner_i(const PwrLines::Attribute& attribute, std::uint64_t time);
    std::optional<VoidMetric> voidMetricAt_i(std::size_t place) const;
    void takeGroups_i(std::uint32_t metric);
    void advance_i();

    const PwrHeader& m_header;
    std::vector<bool> m_isUsed;  // by place
    std::size_t m_next = 0;
    std::size_t m_simulated = 0;  // `m_next` while an item is looked at
    bool m_isEarlyTried = false;
    std::vector<const PwrHeader::Process*> m_early;
    std::unordered_set<std::uint32_t> m_void;  // metrics that were taken
};

}  // namespace host::importers
