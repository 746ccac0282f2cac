// What one element of a sample says, as the JSON files tell it.
#pragma once

#include <cstdint>

#include "pwr/metric.h"

// Where the name of the state that an element reports comes from.
enum class StateOrigin : std::uint8_t {
    Descriptor,        // the element's descriptor; without one the name is empty
    TracedValue,       // the value, as getState of a traced metric reads it
    Text,              // the value is a string, and that is the name
    DescriptorInValue  // the value refers to a descriptor whose name it is
};

struct ElementReading {
    double value = 0.0;    // or the low end of a range
    double value2 = 0.0;   // the high end of a range
    bool isRange = false;  // the value is a range
    bool hasStates = true;
    StateOrigin stateOrigin = StateOrigin::Descriptor;
    // With DescriptorInValue: what the value refers to. Null, and anything that is no pwr::DataDescriptor, is
    // an error that the caller reports; see asDescriptor.
    const pwr::DataHandle* handle = nullptr;
};

// True for the types whose values are noted when they change or happen.
bool isTraced(pwr::Metric::MetricType type);

// True if the metric's elements carry no duration of their own.
bool isInstant(const pwr::Metric& metric);

// Reads the value of `element` of a metric of this type. `duration` is the element's in whole microseconds,
// `tickFactor` the length of a tick in microseconds.
ElementReading readElement(pwr::Metric::MetricType type, const pwr::DataElement& element,
                           std::uint64_t duration, double tickFactor);

// The handle as a descriptor; null for a null handle and for one that is none.
const pwr::DataDescriptor* asDescriptor(const pwr::DataHandle* handle);

// The handle that `value` holds; null if it holds none.
const pwr::DataHandle* handleOf(const pwr::Data& value);
