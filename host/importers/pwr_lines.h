#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "host/emit/output.h"
#include "host/importers/pwr_elements.h"
#include "host/importers/pwr_header.h"
#include "host/importers/sample_line.h"
#include "host/inspect/pwr_record.h"

namespace host::importers {

// Makes lines of the samples of an import trace. Definitions are written where a sample first needs them.
class PwrLines {
public:
    using Attribute = PwrAttribute;
    using MetricRecord = PwrMetricRecord;

    // `header` must outlive this object, and so must `early`: what a sample refers to though it had not begun
    // by then. `others` more ids can be drawn.
    PwrLines(const PwrHeader& header, const std::vector<const PwrHeader::Process*>& early,
             emit::Output& output, std::uint32_t others);

    // The attributes of entities, by the entity's id. Must outlive this object.
    void setEntityAttributes(const std::unordered_map<std::uint64_t, std::vector<Attribute>>* attributes) {
        m_entityAttributes = attributes;
    }

    // The quantity of time, which is known by its use.
    void setTimeQuantity(std::uint64_t id) { m_timeQuantity = id; }

    void metric(const MetricRecord& metric);

    // Defines a metric of which the file has no sample, and delivers one without elements: that leaves the
    // metric void for a writer again.
    void voidMetric(std::uint32_t id, const std::string& name, std::uint32_t quantity, std::uint64_t time);
    void sample(const MetricRecord& metric, const inspect::PwrRecord& sample);

    // Ids of the process and the thread that had a number at a time, which are defined if they are not yet;
    // 0 if there was none.
    std::uint32_t process(std::uint64_t pid, std::uint64_t time);
    std::uint32_t thread(std::uint64_t tid, std::uint64_t time);

    // Defines a pair. Returns its id.
    std::uint32_t pair(const std::string& name, std::uint32_t value);

    // An id that nothing has.
    std::uint32_t newId() { return m_nextId++; }

private:
    using Id = std::uint32_t;

    using Element = PwrElement;

    void entity_i(std::uint64_t id, std::uint64_t time);
    Id field_i(std::uint64_t id);
    void quantity_i(std::uint64_t id);
    Id runner_i(const PwrHeader::Process& runner, bool isThread);
    void pair_i(std::uint64_t id);
    void definePair_i(Id id, const std::string& name, const std::string& description, std::uint32_t value);
    Id slot_i(std::size_t place, int type);
    Id measuredSlot_i(std::uint64_t quantity);
    bool isText_i(const Attribute& info) const;
    std::string textOf_i(const Attribute& info) const;
    std::string infoPair_i(const Attribute& info, std::size_t place, std::uint64_t time);
    std::string infos_i(const Element& element, std::size_t count, std::uint64_t time);
    void element_i(const MetricRecord& metric, const Element& element, std::uint64_t time);
    bool isTextValue_i(const MetricRecord& metric, const Element& element) const;
    static std::string numberOf_i(const std::vector<Attribute>& attributes, bool isTruncated);

    const PwrHeader& m_header;
    const std::vector<const PwrHeader::Process*>& m_early;
    emit::Output& m_output;
    SampleLine m_line;
    const std::unordered_map<std::uint64_t, std::vector<Attribute>>* m_entityAttributes = nullptr;
    std::unordered_set<std::uint64_t> m_entities, m_quantities, m_pairs;  // that have been defined
    std::unordered_map<std::uint64_t, Id> m_fields;                       // their descriptors
    std::unordered_map<const PwrHeader::Process*, Id> m_runners;          // defined processes and threads
    std::unordered_map<std::uint64_t, Id> m_measuredSlots;                // by quantity
    std::unordered_set<Id> m_slots;
    std::uint64_t m_timeQuantity = UINT64_MAX;
    bool m_isTruncated = false;  // reals of the sample
    Id m_firstMeasured = 0;
    Id m_firstSlot = 0;
    Id m_nextId = 0;
};

}  // namespace host::importers
