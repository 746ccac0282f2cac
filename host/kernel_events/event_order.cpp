#include "host/kernel_events/event_order.h"

#include <algorithm>

namespace host::kernel_events {

namespace {

bool isBehind(const Event& one, const Event& other) {
    return isBefore(other, one);
}

}  // namespace

void EventOrder::add(const Event& event) {
    if (m_count + m_heap.size() == WINDOW) release_i();
    const bool isInOrder = m_count == 0 || event.stamp >= m_queue[(m_first + m_count - 1) % WINDOW].stamp;
    if (isInOrder) {
        Event& last = m_queue[(m_first + m_count++) % WINDOW];
        last = event;
        last.place = m_place++;
    } else {
        m_heap.push_back(event);
        m_heap.back().place = m_place++;
        std::push_heap(m_heap.begin(), m_heap.end(), isBehind);
    }
}

void EventOrder::release_i() {
    const bool isLate = !m_heap.empty() && (m_count == 0 || isBefore(m_heap.front(), m_queue[m_first]));
    if (isLate) {
        std::pop_heap(m_heap.begin(), m_heap.end(), isBehind);
        deliver_i(m_heap.back());
        m_heap.pop_back();
    } else {
        deliver_i(m_queue[m_first]);
        m_first = (m_first + 1) % WINDOW;
        --m_count;
    }
}

void EventOrder::deliver_i(Event& event) {
    if (event.stamp < m_released) {
        ++m_tooLate;
        event.stamp = m_released;
    }
    m_released = event.stamp;
    m_sink(event);
}

void EventOrder::finish() {
    while (m_count + m_heap.size() > 0) release_i();
}

}  // namespace host::kernel_events
