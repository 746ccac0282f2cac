#pragma once

#include <string_view>

#include "host/importers/kernel/ftrace_line.h"
#include "host/kernel_events/event.h"
#include "host/kernel_events/name_pool.h"

namespace host::importers {

enum class FieldsResult {
    Read,
    NotUsed,    // the event is one that may mean something, but this one does not
    ClockSync,  // it gives the time of day: `a` are milliseconds since 1970
    Bad
};

// Reads the fields of an event of one name into `event`, whose stamp, CPU and thread are filled in.
using FieldsReader = FieldsResult (*)(std::string_view fields, kernel_events::NamePool& names,
                                      kernel_events::Event& event);

// The reader of an event's fields, in any of their forms: as the kernel prints them, raw, and those of
// sched_switch and sched_wakeup as reports shorten them. Null: the event means nothing here.
FieldsReader fieldsReader(std::string_view event);

}  // namespace host::importers
