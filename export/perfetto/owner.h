#pragma once

#include "pwr/metric.h"
#include "pwr/process.h"

namespace exporting {

// The process and the thread that an element names; both are the host's, and may be null.
struct Owner {
    const pwr::Process* process = nullptr;
    const pwr::Thread* thread = nullptr;

    bool isKnown() const { return process != nullptr || thread != nullptr; }
};

// The additional information names them, else the value: itself, or by the attributes of what it refers to.
Owner ownerOf(const pwr::DataElement& element);

}  // namespace exporting
