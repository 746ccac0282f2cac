// What one element of a sample says: its value, its state and what they mean by the metric's type.
#pragma once

#include <cstdint>
#include <string>

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

// The handle as a descriptor; null for a null handle and for one that is none.
const pwr::DataDescriptor* asDescriptor(const pwr::DataHandle* handle);

// The handle that `value` holds; null if it holds none.
const pwr::DataHandle* handleOf(const pwr::Data& value);

// The text of the state that an element reports. With DescriptorInValue the handle must not be null.
std::string stateOf(const pwr::DataElement& element, const ElementReading& reading);

// Logs at info level what was read of an element, for those who show the lines of `tag`.
void logElement(const char* tag, pwr::Metric::MetricType type, const pwr::DataElement& element,
                const ElementReading& reading, const std::string& state);

// Every element passes through what follows; as calls it would cost a run of "bin" a tenth more instructions.

namespace element_reading {

// `Read` is known here, so that it costs one call.
template <typename Number, auto Read>
void readNumber(const pwr::Data& data, ElementReading& out) {
    Number number{};
    if ((data.*Read)(number) == 0) out.value = static_cast<double>(number);
}

template <typename Number, auto Read>
void readRange(const pwr::Data& data, ElementReading& out) {
    std::pair<Number, Number> range{};
    (data.*Read)(range);
    out.value = static_cast<double>(range.first);
    out.value2 = static_cast<double>(range.second);
    out.isRange = true;
}

// Makes the numbers of `data` real. What is no number leaves the value 0.
inline void readNumbers(const pwr::Data& data, ElementReading& out) {
    switch (data.m_type) {
        case pwr::DATA_INT:
            return readNumber<long, &pwr::Data::toInt>(data, out);
        case pwr::DATA_UINT:
            return readNumber<unsigned long, &pwr::Data::toUInt>(data, out);
        case pwr::DATA_REAL:
            return readNumber<double, &pwr::Data::toReal>(data, out);
        case pwr::DATA_INT_RANGE:
            return readRange<long, &pwr::Data::toIntRange>(data, out);
        case pwr::DATA_UINT_RANGE:
            return readRange<unsigned long, &pwr::Data::toUIntRange>(data, out);
        case pwr::DATA_REAL_RANGE:
            return readRange<double, &pwr::Data::toRealRange>(data, out);
        default:
            return;
    }
}

inline void readSampledValue(const pwr::Data& data, double duration, ElementReading& out) {
    if (data.m_type == pwr::DATA_STRING) {
        out.stateOrigin = StateOrigin::Text;
        out.value = duration;
    } else if (data.m_type == pwr::DATA_HANDLE) {
        const pwr::DataHandle* const handle = handleOf(data);
        if (handle != nullptr && handle->getHandleType() != pwr::HANDLE_DATA_DESCRIPTOR) return;
        out.stateOrigin = StateOrigin::DescriptorInValue;
        out.handle = handle;
        out.value = duration;
    } else {
        out.hasStates = false;
        readNumbers(data, out);
    }
}

}  // namespace element_reading

// Reads the value of `element` of a metric of this type. `duration` is the element's in whole microseconds,
// `tickFactor` the length of a tick in microseconds.
inline ElementReading readElement(pwr::Metric::MetricType type, const pwr::DataElement& element,
                                  std::uint64_t duration, double tickFactor) {
    ElementReading reading;
    const double length = static_cast<double>(duration);
    switch (type) {
        case pwr::Metric::SAMPLED_DELTA:
            reading.hasStates = false;
            element_reading::readNumbers(*element.getValue(), reading);
            break;
        case pwr::Metric::SAMPLED_RESIDENCY:
            element_reading::readNumbers(*element.getValue(), reading);
            if (element.getValue()->m_type != pwr::DATA_HANDLE) reading.value *= tickFactor;
            break;
        case pwr::Metric::SAMPLED_VALUE:
            element_reading::readSampledValue(*element.getValue(), length, reading);
            break;
        case pwr::Metric::TRACED_VALUE_TRANSITION:
            reading.stateOrigin = StateOrigin::TracedValue;
            reading.value = length;
            break;
        case pwr::Metric::TRACED_EVENT:
            reading.stateOrigin = StateOrigin::TracedValue;
            reading.value = 1.0;
            break;
        default:
            break;
    }
    return reading;
}
