#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "pwr/data.h"
#include "pwr/metric.h"

namespace exporting {

enum class ValueKind : std::uint8_t { None, Number, Range, Text };

// What a value says, whatever its kind. Meant to be used again and again: the text keeps its memory.
struct Value {
    ValueKind kind = ValueKind::None;
    double low = 0;    // the number, or the low end of the range
    double high = 0;   // of a range
    std::string text;  // the text, or the name of what a handle refers to; as it is, see cleanText
};

// Reads `data`. A null handle is no value.
void readValue(const pwr::Data& data, Value& out);

// The name of the state or part that an element reports; empty without one. Valid as long as the handle.
std::string_view itemOf(const pwr::DataElement& element);

// The units of what the metric measures, empty if there are none. Valid as long as the metric.
std::string_view unitsOf(const pwr::Metric& metric);

// True if the values of the metric are ticks spent in each state.
bool isResidency(const pwr::Metric& metric);

}  // namespace exporting
