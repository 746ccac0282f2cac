// Texts of values and names of states, for the writers of traces.
#pragma once

#include <string>

#include "pwr/metric.h"

// Replaces `out` by the text of a number, a range or a string (kinds 1 to 6 and 8) and returns 0; leaves it
// alone and returns 1 for other kinds. Reals have six significant digits.
int getStringFromData(const pwr::Data* data, std::string* out);

// The same for the first value of `manager`; returns 1 also if there is none or its attribute is null.
int getFirstDataAttributeAsString(const pwr::AttributeValueManager* manager, std::string* out);

// The name of the state that an element reports. Of a traced metric: the value as display text, or what the
// descriptor that the value refers to says. Otherwise what the element's descriptor says, empty without one.
// A descriptor says the text of its first attribute value, or else its name.
std::string getState(const pwr::DataElement* element, bool traced);

// A handle's name, or an empty text for a null one.
std::string nameOf(const pwr::DataHandle* handle);

// The name of a metric type, "UNKNOWN" for one that has none.
const char* getTypeString(pwr::Metric::MetricType type);
