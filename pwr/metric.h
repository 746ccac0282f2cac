#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "pwr/api.h"
#include "pwr/attribute.h"
#include "pwr/data.h"
#include "pwr/data_descriptor.h"
#include "pwr/data_handle.h"
#include "pwr/entity_handle.h"
#include "pwr/quantity.h"

namespace pwr {

// The class of the table that a metric belongs to. The writers test the two named values only.
enum RealTableClass : std::uint8_t {
    REAL_TABLE_CLASS_NONE = 0,
    REAL_TABLE_CLASS_KERNEL_WAKELOCK = 14,
    REAL_TABLE_CLASS_USER_WAKELOCK = 15,
};

// One entity's value in a sample. Lives only for the call that delivers the sample.
class PWR_HOST_API DataElement {
public:
    const EntityHandle* getEntity() const;        // never null; owned by the host
    const DataDescriptor* getDescriptor() const;  // the state or part that is reported; may be null
    std::uint64_t getDuration() const;            // length of the interval that ends now, in TSC ticks
    const Data* getValue() const;                 // never null
    const DynamicAttributeValueManager* getAdditionalInfo() const;  // may be null
    const DataDescriptor* getVyrtaDescriptor() const;  // for the import-format writer alone; may be null

protected:
    DataElement() = default;
    ~DataElement() = default;
};

// A metric with one sample of it, as it is delivered to WriterPlugin::writeMessage. The metric lives for
// the whole run, the sample record and its elements only for the call.
class PWR_HOST_API Metric {
public:
    enum MetricType : std::uint8_t {
        SAMPLED_DELTA = 0,            // how much a counter rose since the last sample
        SAMPLED_RESIDENCY = 1,        // ticks spent in each state since the last sample
        SAMPLED_VALUE = 2,            // a reading
        TRACED_VALUE_TRANSITION = 3,  // a value that was left after a known duration
        TRACED_EVENT = 4,             // something that happened
    };

    struct Sample {
        std::uint64_t timestamp;                   // TSC ticks
        std::vector<const DataElement*> elements;  // one per entity, or per entity and state; may be empty
    };

    // The sample that is being delivered.
    const Sample& getData() const;

    std::string m_name;
    const Quantity* m_quantity;        // what is measured; may be null
    std::vector<Data> m_legendValues;  // further values that describe the metric, such as its states
    const DataHandle* m_valueHandle;   // titles the value column; holds the expected attributes; may be null
    const DataHandle* m_entityHandle;  // titles the entity column; may be null
    const DataHandle* m_stateHandle;   // titles the state column of traced tables; may be null
    std::uint32_t m_id;                // metric container id, which writers group by
    RealTableClass m_tableClass;
    std::vector<std::pair<const DataHandle*, const DataDescriptor*>>
        m_attributeDescriptors;  // second may be null
    MetricType m_metricType;
    std::string m_groupName;  // the feature that the metric belongs to
    std::vector<const EntityHandle*> m_entities;
    bool m_hasEntityAttributes;  // print the entities' attribute values in sampled tables

protected:
    Metric();
    ~Metric();
};

}  // namespace pwr
