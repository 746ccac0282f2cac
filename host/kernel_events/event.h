// An event of the kernel, whichever way it came in.
#pragma once

#include <cstdint>

#include "host/kernel_events/name_pool.h"

namespace host::kernel_events {

enum class Kind : std::uint8_t {
    None,
    CpuIdle,             // subject: CPU; a: state, IDLE_EXIT when it is left
    CpuFrequency,        // subject: CPU; a: kHz
    CpuFrequencyLimits,  // subject: CPU; a, b: kHz
    SchedSwitch,     // a, name: thread that leaves; b, other: thread that comes; subject: process of a, or 0
    SchedWaking,     // a, name: thread that is woken
    SchedWakeup,     // the same
    SchedWakeupNew,  // the same
    ProcessExec,     // a, name: thread, its name from now on
    ProcessFork,     // a: parent; b, name: child
    ProcessExit,     // a, name: thread
    IrqHandler,      // name: handler
    SoftIrq,
    HrtimerExpire,  // name: function
    TimerExpire,    // name: function
    LocalTimer,
    Reschedule,
    CallFunction,
    CallFunctionSingle,
    SourceActivate,    // name: wakeup source
    SourceDeactivate,  // the same
    ClockRate,         // name: clock; a: Hz
    SuspendResume,     // name: action; a: its value; b: 1 begin, 0 end
    Temperature,       // name: zone; a: thousandths of a degree Celsius
    MarkBegin,         // name
    MarkEnd,
    MarkInstant,     // name
    MarkAsyncBegin,  // name; a: cookie
    MarkAsyncEnd,    // the same
    MarkCounter,     // name; a: value
    Energy,          // a: uJ that the packages have used since the one before; the first one begins
    Loss,            // what the CPU traced before this is not complete; a: how many events are missing
};

// Whether the name of the thread in which such an event was traced says anything: of the others it need not
// be kept.
constexpr bool namesItsThread(Kind kind) {
    switch (kind) {
        case Kind::SchedWaking:
        case Kind::SchedWakeup:
        case Kind::SchedWakeupNew:
        case Kind::MarkBegin:
        case Kind::MarkInstant:
        case Kind::MarkAsyncBegin:
            return true;
        default:
            return false;
    }
}

// The state of an idle event that says that the CPU is idle no more.
constexpr std::int64_t IDLE_EXIT = 4294967295;

// CPUs have numbers below this one: they index tables.
constexpr std::uint32_t MOST_CPUS = 8192;

// The thread that runs where nothing else does.
constexpr std::int64_t IDLE_PID = 0;

// What the fields mean depends on the kind. All events of a trace take part in one order: by stamp, then by
// place in the trace.
struct Event {
    std::uint64_t stamp = 0;  // ns
    std::uint64_t place = 0;
    std::int64_t a = 0;
    std::int64_t b = 0;
    std::int64_t pid = 0;   // of the thread in which it was traced
    std::uint32_t cpu = 0;  // on which it was traced
    std::uint32_t subject = 0;
    NameId comm = 0;  // name of that thread, where it says anything
    NameId name = 0;
    NameId other = 0;
    Kind kind = Kind::None;
    bool isRunnable = false;  // SchedSwitch: the thread that leaves would go on if it were let
};

// Whether a thread that leaves in this state, as it stands in a raw sched_switch, would go on if it were let.
constexpr bool isRunnableState(std::int64_t state) {
    constexpr std::int64_t PREEMPTED = 0x100;
    return state == 0 || state == PREEMPTED;
}

inline bool isBefore(const Event& one, const Event& other) {
    return one.stamp != other.stamp ? one.stamp < other.stamp : one.place < other.place;
}

}  // namespace host::kernel_events
