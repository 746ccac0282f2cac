#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/inspect/pwr_fields.h"

namespace host::importers {

using inspect::PwrAttribute;

struct PwrMetricRecord {
    std::uint32_t id = 0, metricClass = 0, quantity = 0, tabGroup = 0, timelineGroup = 0;
    std::string name;
};

// One state of an entity in a sample.
struct PwrElement {
    std::uint64_t entity = 0;
    std::uint64_t field = 0;
    std::uint64_t duration = 0;
    std::vector<PwrAttribute> infos;     // the collector's things, then texts
    std::vector<PwrAttribute> measured;  // a number or a text with the quantity in front of it
    std::vector<PwrAttribute> value;     // a number, or the ends of a range
    bool endsInInfo = false;

    // Takes what seemed to be the value for a measured number without a quantity.
    void measureValue();
};

PwrMetricRecord metricOf(const inspect::PwrRecord& record);
std::vector<PwrAttribute> attributesOf(const inspect::PwrRecord& sample);
std::vector<PwrElement> elementsOf(const std::vector<PwrAttribute>& attributes);

// True for an attribute of the collector's things, which entities and elements have.
bool isInfo(const PwrAttribute& attribute);

// True for the type of a number that has the end of a range after it.
bool isLowerBound(std::uint32_t type);

}  // namespace host::importers
