// A counter of the kernel's performance events.
#pragma once

#include <cstdint>

#include "host/base/descriptor.h"

namespace host::record {

class PerfCounter {
public:
    // Counts an event of a performance monitoring unit on one CPU, for all that runs there. Not open, with
    // errno set, if the kernel does not allow it.
    PerfCounter(std::uint32_t unit, std::uint64_t event, unsigned cpu);

    bool isOpen() const { return m_descriptor.isOpen(); }

    // The count since the counter was opened; false if it can't be read.
    bool read(std::uint64_t& count) const;

private:
    base::Descriptor m_descriptor;
};

}  // namespace host::record
