#pragma once

#include <cstdint>

#include "pwr/metric.h"

// What a sample keeps of one data element. The pointers are the host's and valid during the message.
struct EntityDataElement {
    const pwr::DataDescriptor* descriptor;                    // the state; may be null
    const pwr::Data* value;                                   // null when the state is all that counts
    std::uint64_t duration;                                   // TSC ticks
    const pwr::DynamicAttributeValueManager* additionalInfo;  // may be null
};
