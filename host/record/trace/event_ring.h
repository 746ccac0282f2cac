#pragma once

#include <linux/perf_event.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "host/base/descriptor.h"

namespace host::record {

// A sample of a tracepoint as it lies in the ring.
struct TracepointSample {
    std::uint32_t pid;  // process and thread in which it was traced, as this process sees them
    std::uint32_t tid;
    std::uint64_t stamp;  // ns of CLOCK_MONOTONIC_RAW
    std::span<const char> bytes;
};

// The kernel's ring of what is traced on one CPU. Events are counted while the ring is on.
class EventRing {
public:
    explicit EventRing(unsigned cpu) : m_cpu(cpu) {}
    EventRing(EventRing&& other) noexcept;
    EventRing& operator=(EventRing&&) = delete;
    ~EventRing();

    unsigned cpu() const { return m_cpu; }

    // Adds a tracepoint by its number. Returns 0 or the reason as in errno. The first one that succeeds makes
    // a ring of `bytes`, a power of two of pages, or less where that much may not be locked.
    int add(std::uint64_t id, std::size_t bytes);

    bool isOpen() const { return m_page != nullptr; }
    std::size_t size() const { return m_size; }

    void enable() const;
    void disable() const;

    // Becomes readable when the ring is half full.
    int descriptor() const { return m_events.front().get(); }

    // Calls `sample(TracepointSample)` for each in the ring, and `loss(std::uint64_t)` where some are
    // missing.
    void drain(auto sample, auto loss);

    // How many are missing that no loss was reported of yet; 0 where the kernel does not count them.
    std::uint64_t unreportedLoss() const;

private:
    struct Record {
        perf_event_header header;
        const char* data;  // after the header
    };

    base::Descriptor open_i(std::uint64_t id, std::size_t bytes);
    int addFirst_i(std::uint64_t id, std::size_t bytes);
    int map_i(int event, std::size_t bytes);
    Record at_i(std::uint64_t place);
    std::uint64_t head_i() const;
    void release_i(std::uint64_t tail);
    static TracepointSample sample_i(const Record& record);

    unsigned m_cpu;
    std::vector<base::Descriptor> m_events;
    perf_event_mmap_page* m_page = nullptr;
    const char* m_ring = nullptr;
    std::size_t m_size = 0;
    std::vector<char> m_wrapped;   // a record that goes over the ring's end
    std::uint64_t m_reported = 0;  // losses
    bool m_countsLosses = true;
};

void EventRing::drain(auto sample, auto loss) {
    constexpr std::uint64_t PIECE = 65536;  // is given back at once
    std::uint64_t tail = m_page->data_tail;
    std::uint64_t released = tail;
    const std::uint64_t head = head_i();
    while (tail < head) {
        const Record record = at_i(tail);
        if (record.header.type == PERF_RECORD_SAMPLE) {
            sample(sample_i(record));
        } else if (record.header.type == PERF_RECORD_LOST) {
            std::uint64_t count = 0;
            std::memcpy(&count, record.data + sizeof count, sizeof count);
            m_reported += count;
            loss(count);
        }
        tail += record.header.size;
        if (tail - released >= PIECE) release_i(released = tail);
    }
    release_i(tail);
}

}  // namespace host::record
