#include "host/kernel_events/marks.h"

#include <string>

namespace host::kernel_events {

void Marks::take(const Event& event) {
    const auto row = [&] { return m_timeline.thread(event.comm, event.pid); };
    switch (event.kind) {
        case Kind::MarkBegin:
            m_threads[event.pid].push_back({event.name, event.stamp, row()});
            break;
        case Kind::MarkEnd: {
            std::vector<Open>& open = m_threads[event.pid];
            if (open.empty()) break;
            end_i(open.back(), event.stamp);
            open.pop_back();
            break;
        }
        case Kind::MarkInstant:
            end_i({event.name, event.stamp, row()}, event.stamp);
            break;
        case Kind::MarkAsyncBegin:
            m_open.insert_or_assign({event.name, event.a}, Open{event.name, event.stamp, row()});
            break;
        case Kind::MarkAsyncEnd:
            if (const auto open = m_open.find({event.name, event.a}); open != m_open.end()) {
                end_i(open->second, event.stamp);
                m_open.erase(open);
            }
            break;
        case Kind::MarkCounter:
            counter_i(event);
            break;
        default:
            break;
    }
}

void Marks::end_i(const Open& open, std::uint64_t stamp) {
    m_timeline.sample(open.row, stamp, stamp - open.since, m_names.value(open.name));
}

void Marks::counter_i(const Event& event) {
    m_timeline.sample(m_timeline.named(Series::Counters, event.name), event.stamp, 0,
                      "{\"i\":" + std::to_string(event.a) + "}");
}

}  // namespace host::kernel_events
