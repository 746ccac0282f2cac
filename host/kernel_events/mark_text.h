#pragma once

#include <string_view>

#include "host/kernel_events/event.h"
#include "host/kernel_events/name_pool.h"

namespace host::kernel_events {

enum class MarkResult {
    Read,
    NotUsed,    // a text of another form: it means something to its program alone
    ClockSync,  // it gives the time of day: `a` are milliseconds since 1970
    Bad
};

// Reads what a program has written into a trace: "B|PID|NAME", "E", "I|PID|NAME", "C|PID|NAME|VALUE",
// "S|PID|NAME|COOKIE", "F|PID|NAME|COOKIE", "trace_event_clock_sync: realtime_ts=MILLISECONDS".
MarkResult readMark(std::string_view text, NamePool& names, Event& event);

}  // namespace host::kernel_events
