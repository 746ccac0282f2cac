#pragma once

#include <vector>

#include "host/kernel_events/idle_states.h"
#include "host/record/sample_file.h"

namespace host::record {

// The idle states of a CPU by number, as its idle driver names them, with their target residencies. Empty if
// there is no driver.
std::vector<kernel_events::IdleState> readIdleStates(const Root& root, unsigned cpu);

}  // namespace host::record
