#include "host/record/trace/event_ring.h"

#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <utility>

namespace host::record {

namespace {

std::size_t pageSize() {
    return static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

int openTracepoint(std::uint64_t id, unsigned cpu, std::size_t bytes, bool countsLosses) {
    perf_event_attr attributes{};
    attributes.size = sizeof attributes;
    attributes.type = PERF_TYPE_TRACEPOINT;
    attributes.config = id;
    attributes.sample_period = 1;
    attributes.sample_type = PERF_SAMPLE_TID | PERF_SAMPLE_TIME | PERF_SAMPLE_RAW;
    if (countsLosses) attributes.read_format = PERF_FORMAT_LOST;
    attributes.disabled = 1;
    attributes.watermark = 1;
    attributes.wakeup_watermark = static_cast<std::uint32_t>(bytes / 2);
    attributes.use_clockid = 1;
    attributes.clockid = CLOCK_MONOTONIC_RAW;
    return static_cast<int>(::syscall(SYS_perf_event_open, &attributes, -1, static_cast<int>(cpu), -1,
                                      static_cast<unsigned long>(PERF_FLAG_FD_CLOEXEC)));
}

}  // namespace

EventRing::EventRing(EventRing&& other) noexcept
    : m_cpu(other.m_cpu),
      m_events(std::move(other.m_events)),
      m_page(std::exchange(other.m_page, nullptr)),
      m_ring(other.m_ring),
      m_size(other.m_size),
      m_wrapped(std::move(other.m_wrapped)),
      m_reported(other.m_reported),
      m_countsLosses(other.m_countsLosses) {}

EventRing::~EventRing() {
    if (m_page != nullptr) ::munmap(m_page, m_size + pageSize());
}

base::Descriptor EventRing::open_i(std::uint64_t id, std::size_t bytes) {
    base::Descriptor event(openTracepoint(id, m_cpu, bytes, m_countsLosses));
    if (event.isOpen() || errno != EINVAL || !m_countsLosses) return event;
    m_countsLosses = false;  // kernels before 6.0
    return base::Descriptor(openTracepoint(id, m_cpu, bytes, m_countsLosses));
}

int EventRing::add(std::uint64_t id, std::size_t bytes) {
    if (m_page == nullptr) return addFirst_i(id, bytes);
    base::Descriptor event = open_i(id, m_size);
    if (!event.isOpen()) return errno;
    if (::ioctl(event.get(), PERF_EVENT_IOC_SET_OUTPUT, m_events.front().get()) != 0) return errno;
    m_events.push_back(std::move(event));
    return 0;
}

int EventRing::addFirst_i(std::uint64_t id, std::size_t bytes) {
    for (;; bytes /= 2) {
        base::Descriptor event = open_i(id, bytes);
        if (!event.isOpen()) return errno;
        const int reason = map_i(event.get(), bytes);
        if (reason == 0) m_events.push_back(std::move(event));
        if (reason != EPERM || bytes <= pageSize()) return reason;
    }
}

int EventRing::map_i(int event, std::size_t bytes) {
    void* const begin = ::mmap(nullptr, bytes + pageSize(), PROT_READ | PROT_WRITE, MAP_SHARED, event, 0);
    if (begin == MAP_FAILED) return errno;
    m_page = static_cast<perf_event_mmap_page*>(begin);
    m_ring = static_cast<const char*>(begin) + pageSize();
    m_size = bytes;
    return 0;
}

void EventRing::enable() const {
    for (const base::Descriptor& event : m_events) ::ioctl(event.get(), PERF_EVENT_IOC_ENABLE, 0);
}

void EventRing::disable() const {
    for (const base::Descriptor& event : m_events) ::ioctl(event.get(), PERF_EVENT_IOC_DISABLE, 0);
}

std::uint64_t EventRing::head_i() const {
    return std::atomic_ref(m_page->data_head).load(std::memory_order_acquire);
}

void EventRing::release_i(std::uint64_t tail) {
    std::atomic_ref(m_page->data_tail).store(tail, std::memory_order_release);
}

EventRing::Record EventRing::at_i(std::uint64_t place) {
    const std::size_t at = place & (m_size - 1);
    Record record;
    std::memcpy(&record.header, m_ring + at, sizeof record.header);  // records lie on multiples of it
    const std::size_t size = record.header.size;
    record.data = m_ring + at + sizeof record.header;
    if (at + size <= m_size) return record;
    m_wrapped.resize(size);
    std::memcpy(m_wrapped.data(), m_ring + at, m_size - at);
    std::memcpy(m_wrapped.data() + (m_size - at), m_ring, size - (m_size - at));
    record.data = m_wrapped.data() + sizeof record.header;
    return record;
}

// The parts stand in the order of their bits in sample_type.
TracepointSample EventRing::sample_i(const Record& record) {
    TracepointSample sample{};
    std::uint32_t size = 0;
    std::memcpy(&sample.pid, record.data, 4);
    std::memcpy(&sample.tid, record.data + 4, 4);
    std::memcpy(&sample.stamp, record.data + 8, 8);
    std::memcpy(&size, record.data + 16, 4);
    const std::size_t most = record.header.size - sizeof record.header - 20;
    sample.bytes = {record.data + 20, std::min<std::size_t>(size, most)};
    return sample;
}

std::uint64_t EventRing::unreportedLoss() const {
    if (!m_countsLosses) return 0;
    std::uint64_t all = 0;
    for (const base::Descriptor& event : m_events) {
        std::uint64_t counts[2] = {};  // of the event, and of what of it was lost
        if (::read(event.get(), counts, sizeof counts) == sizeof counts) all += counts[1];
    }
    return all - std::min(all, m_reported);
}

}  // namespace host::record
