#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "host/model/value.h"
#include "pwr/metric.h"

namespace host::model {

// Dynamic attribute values of an element. Their memory is kept.
class DynamicAttributes : public pwr::DynamicAttributeValueManager {
public:
    // Adds a copy of `value` under the id and returns true, or returns false if the id is present.
    bool add(unsigned long id, const pwr::Data& value);
    void clear();

private:
    std::vector<decltype(m_values)::node_type> m_spare;
};

// An element of a sample.
class Element : public pwr::DataElement {
public:
    // Makes the element as if new; buffers are kept.
    void clear();

    const pwr::EntityHandle* m_entity = nullptr;
    const pwr::DataDescriptor* m_descriptor = nullptr;  // may be null
    const pwr::DataDescriptor* m_vyrtaDescriptor = nullptr;
    std::uint64_t m_duration = 0;  // ticks
    Value m_value;
    bool m_hasInfo = false;
    DynamicAttributes m_info;  // looked at only if m_hasInfo
};

// A sample under construction and its elements. What it hands out is valid until release; in a build with
// the address sanitizer the memory is really given back then, so that a later use is found.
class SamplePool {
public:
    SamplePool();
    ~SamplePool();

    // Starts a sample without elements.
    void begin(std::uint64_t timestamp);

    // Appends an element, cleared, and returns it.
    Element& append();

    // The sample as built so far.
    const pwr::Metric::Sample& sample() const { return *m_sample; }

    // Ends the life of the sample and its elements.
    void release();

private:
    std::unique_ptr<pwr::Metric::Sample> m_sample;
    std::vector<std::unique_ptr<Element>> m_elements;
    std::size_t m_used = 0;
};

// A metric. m_sample is what getData returns; it belongs to whoever delivers the metric.
class Metric : public pwr::Metric {
public:
    const Sample* m_sample = nullptr;
};

}  // namespace host::model
