#include "host/record/perf_counter.h"

#include <linux/perf_event.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace host::record {

PerfCounter::PerfCounter(std::uint32_t unit, std::uint64_t event, unsigned cpu) {
    perf_event_attr attributes{};
    attributes.size = sizeof attributes;
    attributes.type = unit;
    attributes.config = event;
    const long number = ::syscall(SYS_perf_event_open, &attributes, -1, static_cast<int>(cpu), -1,
                                  static_cast<unsigned long>(PERF_FLAG_FD_CLOEXEC));
    m_descriptor = base::Descriptor(static_cast<int>(number));
}

bool PerfCounter::read(std::uint64_t& count) const {
    return ::read(m_descriptor.get(), &count, sizeof count) == static_cast<ssize_t>(sizeof count);
}

}  // namespace host::record
