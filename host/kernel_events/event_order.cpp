#include "host/kernel_events/event_order.h"

#include <algorithm>

namespace host::kernel_events {

namespace {

bool isBehind(const Event& one, const Event& other) {
    return isBefore(other, one);
}

}  // namespace

void EventOrder::add(Event event) {
    if (m_count + m_heap.size() == WINDOW) release_i();
    event.place = m_place++;
    const bool isInOrder = m_count == 0 || event.stamp >= m_queue[(m_first + m_count - 1) % WINDOW].stamp;
    if (isInOrder) {
        m_queue[(m_first + m_count++) % WINDOW] = event;
    } else {
        m_heap.push_back(event);
        std::push_heap(m_heap.begin(), m_heap.end(), isBehind);
    }
}

void EventOrder::release_i() {
    const bool isLate = !m_heap.empty() && (m_count == 0 || isBefore(m_heap.front(), m_queue[m_first]));
    if (isLate) std::pop_heap(m_heap.begin(), m_heap.end(), isBehind);
    Event event = isLate ? m_heap.back() : m_queue[m_first];
    if (isLate) {
        m_heap.pop_back();
    } else {
        m_first = (m_first + 1) % WINDOW;
        --m_count;
    }
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
