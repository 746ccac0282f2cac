// Definition lines of the stream, and the ids that they define.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/emit/output.h"

namespace host::emit {

// Id of a handle, a quantity or a metric; each of the three has its own counting. 0 stands for none.
using Id = std::uint32_t;

// Kinds of the quantities that the recorder knows.
enum class QuantityKind : int {
    Time = 1,
    Frequency,
    Temperature,
    Power,
    Energy,
    Count,
    Size,
    Rate,
    Load = 10,
    Voltage,
    Current,
    Charge,
    Speed,
    Share,
    Level
};

struct QuantityDefinition {
    QuantityKind kind;
    std::string name;
    std::string units;
    Id rate = 0;              // quantity of its change per second
    double rateFactor = 1.0;  // units of that quantity per unit of this one
};

// An attribute whose value is some data, or the handle of a process or a thread.
enum class AttributeType : int { Data = 1, Process = 3, Thread = 4 };

// Attribute values in the stream's own text: attribute and value.
using AttributeTexts = std::vector<std::pair<Id, std::string>>;

// In the order of stream::METRIC_TYPES.
enum class MetricType { SampledDelta, SampledResidency, SampledValue, TracedTransition, TracedEvent };

struct MetricDefinition {
    std::string name;
    std::string group;  // names the files of writers that make one for each group
    MetricType type = MetricType::SampledValue;
    int tableClass = 0;
    Id quantity = 0;
    std::vector<Id> legend{};  // descriptors of the states that are known beforehand
    Id value = 0;              // handles that title the columns of value, state and entity
    Id state = 0;
    Id entity = 0;
    std::vector<std::pair<Id, Id>> descriptors{};  // entity and descriptor of each value to come
    std::vector<Id> entities{};

    // Announces a value; those of one entity come one after the other.
    void announce(Id anEntity, Id descriptor) {
        descriptors.emplace_back(anEntity, descriptor);
        if (entities.empty() || entities.back() != anEntity) entities.push_back(anEntity);
    }
};

// A name without commas, which end a cell in results that quote nothing, and without line ends.
std::string plainName(std::string_view name);

// Writes definitions and gives out ids in the order of the calls. All texts may hold any bytes; what is no
// UTF-8 is replaced. Names and titles become plain ones.
class Definitions {
public:
    explicit Definitions(Output& output) : m_output(output) {}

    // The quantity of times, the first one defined and the same for all.
    Id time();
    Id quantity(const QuantityDefinition& definition);
    // A quantity that is counted, `rate` being its change per second; `rateFactor` units of that are one of
    // this per second.
    Id counted(QuantityDefinition quantity, const QuantityDefinition& rate, double rateFactor);
    Id attribute(std::string_view name, AttributeType type, Id quantity = 0);
    Id entity(std::string_view name, Id parent = 0);
    Id descriptor(std::string_view name, const AttributeTexts& attributes = {});
    Id handle(std::string_view name, const std::vector<Id>& expected = {});
    Id process(std::uint64_t pid, std::uint64_t parent, std::string_view path, std::uint64_t start);
    Id thread(std::uint64_t tid, std::uint64_t pid, std::string_view name, std::uint64_t start);
    Id metric(const MetricDefinition& definition);

    // Notes what summary tables alone will report: it is listed like a metric.
    void announce(const std::string& name, std::size_t entities) { m_metrics.emplace_back(name, entities); }

    // The metrics so far, with the number of entities that each had from the beginning.
    const std::vector<std::pair<std::string, std::size_t>>& metrics() const { return m_metrics; }

    // A summary table without entities, its columns being handles of their own.
    void table(Id container, Id table, std::string_view title, const std::vector<std::string>& columns);

private:
    Output& m_output;
    Id m_nextHandle = 1;
    Id m_nextQuantity = 1;
    Id m_nextMetric = 1;
    Id m_time = 0;
    std::vector<std::pair<std::string, std::size_t>> m_metrics;
};

// The descriptors of a metric by their names, each defined at its first use.
class NamedDescriptors {
public:
    explicit NamedDescriptors(Definitions& define) : m_define(define) {}

    Id get(const std::string& name) {
        Id& descriptor = m_ids[name];
        if (descriptor == 0) descriptor = m_define.descriptor(name);
        return descriptor;
    }

private:
    Definitions& m_define;
    std::map<std::string, Id> m_ids;
};

}  // namespace host::emit
