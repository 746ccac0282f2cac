#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "host/kernel_events/event.h"

namespace host::kernel_events {

// Puts events in the order of their stamps, equal ones in the order of the trace, within a window: one that
// stands further back than that is taken when it comes, at the time of the event before.
class EventOrder {
public:
    static constexpr std::size_t WINDOW = 65536;

    using Sink = std::function<void(const Event&)>;
    explicit EventOrder(Sink sink) : m_sink(std::move(sink)), m_queue(WINDOW) {}

    void add(const Event& event);
    void finish();

    // Events that stood further back than the window reaches.
    std::uint64_t tooLate() const { return m_tooLate; }

private:
    void release_i();
    void deliver_i(Event& event);

    Sink m_sink;
    std::vector<Event> m_queue;  // a ring of those that came in order
    std::size_t m_first = 0;
    std::size_t m_count = 0;
    std::vector<Event> m_heap;  // of those that did not, the earliest on top
    std::uint64_t m_place = 0;
    std::uint64_t m_released = 0;  // stamp of the last one
    std::uint64_t m_tooLate = 0;
};

}  // namespace host::kernel_events
