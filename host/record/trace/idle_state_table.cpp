#include "host/record/trace/idle_state_table.h"

#include <charconv>
#include <string>

namespace host::record {

std::vector<kernel_events::IdleState> readIdleStates(const Root& root, unsigned cpu) {
    constexpr std::size_t MOST_STATES = 64;
    constexpr std::string_view STATE = "state";
    const std::string folder = "sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/cpuidle/";
    std::vector<kernel_events::IdleState> states;
    for (const std::string& name : root.names(folder, STATE)) {
        std::size_t number = 0;
        std::uint64_t residency = 0;
        const char* const end = name.data() + name.size();
        const auto done = std::from_chars(name.data() + STATE.size(), end, number);
        if (done.ec != std::errc() || done.ptr != end || number >= MOST_STATES) continue;
        if (states.size() <= number) states.resize(number + 1);
        states[number].name = root.text(folder + name + "/name");
        if (SampleFile(root, folder + name + "/residency").readUnsigned(residency))
            states[number].targetUsec = residency;
    }
    return states;
}

}  // namespace host::record
