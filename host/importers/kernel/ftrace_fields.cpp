#include "host/importers/kernel/ftrace_fields.h"

#include <charconv>
#include <cstdint>
#include <unordered_map>

#include "host/kernel_events/mark_text.h"

namespace host::importers {

namespace {

using kernel_events::Event;
using kernel_events::Kind;
using kernel_events::NamePool;

constexpr std::size_t NOWHERE = std::string_view::npos;
constexpr FieldsResult BAD = FieldsResult::Bad;
constexpr FieldsResult READ = FieldsResult::Read;

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == NOWHERE) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// Where the last `key` stands.
std::size_t lastOf(std::string_view text, std::string_view key) {
    for (std::size_t at = text.size() < key.size() ? 0 : text.size() - key.size() + 1; at-- > 0;)
        if (text[at] == key.front() && text.substr(at).starts_with(key)) return at;
    return NOWHERE;
}

// Reads a number off the front of `text`: decimal, or hexadecimal after 0x.
bool readNumber(std::string_view text, std::int64_t& number) {
    const char* const end = text.data() + text.size();
    if (text.starts_with("0x")) {
        std::uint64_t bits = 0;
        const auto done = std::from_chars(text.data() + 2, end, bits, 16);
        number = static_cast<std::int64_t>(bits);
        return done.ec == std::errc();
    }
    const auto done = std::from_chars(text.data(), end, number);
    return done.ec == std::errc() && (done.ptr == end || *done.ptr < '0' || *done.ptr > '9');
}

// Where the value of `key`, which ends in "=", begins: at the front, or after a blank.
std::size_t valueAt(std::string_view text, std::string_view key, std::size_t from = 0) {
    for (std::size_t at = text.find(key, from); at != NOWHERE; at = text.find(key, at + 1))
        if (at == 0 || text[at - 1] == ' ') return at + key.size();
    return NOWHERE;
}

// The same for the last one: what stands before may hold anything.
std::size_t lastValueAt(std::string_view text, std::string_view key) {
    for (std::size_t at = lastOf(text, key); at != NOWHERE; at = lastOf(text, key)) {
        if (at == 0 || text[at - 1] == ' ') return at + key.size();
        text = text.substr(0, at + key.size() - 1);
    }
    return NOWHERE;
}

bool numberOf(std::string_view text, std::string_view key, std::int64_t& number) {
    const std::size_t at = valueAt(text, key);
    return at != NOWHERE && readNumber(text.substr(at), number);
}

bool lastNumberOf(std::string_view text, std::string_view key, std::int64_t& number) {
    const std::size_t at = lastValueAt(text, key);
    return at != NOWHERE && readNumber(text.substr(at), number);
}

bool cpuOf(std::string_view text, Event& event) {
    std::int64_t cpu = 0;
    if (!lastNumberOf(text, "cpu_id=", cpu) || cpu < 0 || cpu >= kernel_events::MOST_CPUS) return false;
    event.subject = static_cast<std::uint32_t>(cpu);
    return true;
}

FieldsResult readIdle(std::string_view text, NamePool&, Event& event) {
    event.kind = Kind::CpuIdle;
    if (!numberOf(text, "state=", event.a) || !cpuOf(text, event)) return BAD;
    event.a &= 0xFFFFFFFF;
    return READ;
}

FieldsResult readFrequency(std::string_view text, NamePool&, Event& event) {
    event.kind = Kind::CpuFrequency;
    return numberOf(text, "state=", event.a) && cpuOf(text, event) ? READ : BAD;
}

FieldsResult readLimits(std::string_view text, NamePool&, Event& event) {
    event.kind = Kind::CpuFrequencyLimits;
    const bool hasLow = numberOf(text, "min=", event.a) || numberOf(text, "min_freq=", event.a);
    const bool hasHigh = numberOf(text, "max=", event.b) || numberOf(text, "max_freq=", event.b);
    return hasLow && hasHigh && cpuOf(text, event) ? READ : BAD;
}

// "NAME:PID [PRIORITY]", and what stands after it.
bool readShortThread(std::string_view text, std::int64_t& pid, std::string_view& name) {
    const std::size_t priority = lastOf(text, " [");
    if (priority == NOWHERE) return false;
    text = text.substr(0, priority);
    const std::size_t colon = text.rfind(':');
    if (colon == NOWHERE || !readNumber(text.substr(colon + 1), pid)) return false;
    name = text.substr(0, colon);
    return true;
}

// "R" and "R+", or a number.
bool isRunnable(std::string_view state) {
    std::int64_t number = 0;
    return state.starts_with('R') || (readNumber(state, number) && kernel_events::isRunnableState(number));
}

bool readShortSwitch(std::string_view text, NamePool& names, Event& event) {
    const std::size_t arrow = text.find(" ==> ");
    if (arrow == NOWHERE) return false;
    std::string_view leaving;
    std::string_view coming;
    if (!readShortThread(text.substr(0, arrow), event.a, leaving)) return false;
    if (!readShortThread(text.substr(arrow + 5), event.b, coming)) return false;
    event.isRunnable = isRunnable(text.substr(text.rfind(' ', arrow - 1) + 1));
    event.name = names.get(leaving);
    event.other = names.get(coming);
    return true;
}

FieldsResult readSwitch(std::string_view text, NamePool& names, Event& event) {
    constexpr std::string_view PREV = "prev_comm=";
    constexpr std::string_view PREV_PID = " prev_pid=";
    constexpr std::string_view PREV_STATE = " prev_state=";
    constexpr std::string_view NEXT = "next_comm=";
    constexpr std::string_view NEXT_PID = " next_pid=";
    event.kind = Kind::SchedSwitch;
    if (!text.starts_with(PREV)) return readShortSwitch(text, names, event) ? READ : BAD;
    const std::size_t prevPid = text.find(PREV_PID, PREV.size());
    if (prevPid == NOWHERE) return BAD;
    const std::size_t next = valueAt(text, NEXT, prevPid + PREV_PID.size());
    const std::size_t nextPid = lastOf(text, NEXT_PID);
    if (next == NOWHERE || nextPid == NOWHERE || nextPid < next) return BAD;
    const std::size_t state = text.find(PREV_STATE, prevPid);
    if (!readNumber(text.substr(prevPid + PREV_PID.size()), event.a)) return BAD;
    event.isRunnable = state < next && isRunnable(text.substr(state + PREV_STATE.size()));
    if (!readNumber(text.substr(nextPid + NEXT_PID.size()), event.b)) return BAD;
    event.name = names.get(text.substr(PREV.size(), prevPid - PREV.size()));
    event.other = names.get(text.substr(next, nextPid - next));
    return READ;
}

// "comm=NAME pid=PID ...", and the short form.
bool readThread(std::string_view text, NamePool& names, Event& event) {
    constexpr std::string_view COMM = "comm=";
    constexpr std::string_view PID = " pid=";
    if (!text.starts_with(COMM)) {
        std::string_view name;
        if (!readShortThread(text, event.a, name)) return false;
        event.name = names.get(name);
        return true;
    }
    const std::size_t pid = lastOf(text, PID);
    if (pid == NOWHERE || !readNumber(text.substr(pid + PID.size()), event.a)) return false;
    event.name = names.get(text.substr(COMM.size(), pid - COMM.size()));
    return true;
}

template <Kind kind>
FieldsResult readThreadAs(std::string_view text, NamePool& names, Event& event) {
    event.kind = kind;
    return readThread(text, names, event) ? READ : BAD;
}

FieldsResult readFork(std::string_view text, NamePool& names, Event& event) {
    constexpr std::string_view CHILD_PID = " child_pid=";
    event.kind = Kind::ProcessFork;
    const std::size_t child = valueAt(text, "child_comm=");
    const std::size_t childPid = lastOf(text, CHILD_PID);
    if (child == NOWHERE || childPid == NOWHERE || childPid < child) return BAD;
    const std::string_view parent = text.substr(0, child);
    if (!lastNumberOf(parent, "pid=", event.a) && !lastNumberOf(parent, "parent_pid=", event.a)) return BAD;
    if (!readNumber(text.substr(childPid + CHILD_PID.size()), event.b)) return BAD;
    event.name = names.get(text.substr(child, childPid - child));
    return READ;
}

// A thread has the name of the file that it executes, as far as names go.
FieldsResult readExec(std::string_view text, NamePool& names, Event& event) {
    constexpr std::string_view FILE_NAME = "filename=";
    constexpr std::size_t LONGEST_NAME = 15;
    event.kind = Kind::ProcessExec;
    const std::size_t pid = lastOf(text, " pid=");
    if (!text.starts_with(FILE_NAME) || pid == NOWHERE || !lastNumberOf(text, "pid=", event.a)) return BAD;
    std::string_view file = text.substr(FILE_NAME.size(), pid - FILE_NAME.size());
    if (const std::size_t slash = file.rfind('/'); slash != NOWHERE) file.remove_prefix(slash + 1);
    event.name = names.get(file.substr(0, LONGEST_NAME));
    return READ;
}

FieldsResult readIrq(std::string_view text, NamePool& names, Event& event) {
    event.kind = Kind::IrqHandler;
    const std::size_t name = valueAt(text, "name=");
    if (name == NOWHERE) return BAD;
    event.name = names.get(trimmed(text.substr(name)));
    return READ;
}

template <Kind kind>
FieldsResult readTimer(std::string_view text, NamePool& names, Event& event) {
    event.kind = kind;
    const std::size_t at = valueAt(text, "function=");
    if (at == NOWHERE) return BAD;
    const std::string_view function = text.substr(at);
    event.name = names.get(function.substr(0, function.find_first_of(" /+")));  // "NAME/0x0" in reports
    return READ;
}

template <Kind kind>
FieldsResult readNothing(std::string_view, NamePool&, Event& event) {
    event.kind = kind;
    return READ;
}

// "NAME state=...", raw with "name=" in front.
bool readNamed(std::string_view text, NamePool& names, Event& event) {
    const std::size_t state = lastOf(text, " state=");
    if (state == NOWHERE) return false;
    std::string_view name = text.substr(0, state);
    if (name.starts_with("name=")) name.remove_prefix(5);
    event.name = names.get(trimmed(name));
    return event.name != 0;
}

template <Kind kind>
FieldsResult readSource(std::string_view text, NamePool& names, Event& event) {
    event.kind = kind;
    return readNamed(text, names, event) ? READ : BAD;
}

FieldsResult readClock(std::string_view text, NamePool& names, Event& event) {
    event.kind = Kind::ClockRate;
    return readNamed(text, names, event) && lastNumberOf(text, "state=", event.a) ? READ : BAD;
}

// "ACTION[VALUE] begin", raw "action=ACTION val=VALUE start=1".
FieldsResult readSuspend(std::string_view text, NamePool& names, Event& event) {
    event.kind = Kind::SuspendResume;
    if (text.starts_with("action=")) {
        const std::size_t value = lastOf(text, " val=");
        if (value == NOWHERE || !lastNumberOf(text, "val=", event.a)) return BAD;
        event.name = names.get(text.substr(7, value - 7));
        return lastNumberOf(text, "start=", event.b) ? READ : BAD;
    }
    const std::size_t open = text.rfind('[');
    const std::size_t close = text.find(']', open == NOWHERE ? 0 : open);
    if (open == NOWHERE || close == NOWHERE || !readNumber(text.substr(open + 1), event.a)) return BAD;
    const std::string_view word = trimmed(text.substr(close + 1));
    event.name = names.get(text.substr(0, open));
    event.b = word == "begin" ? 1 : 0;
    return word == "begin" || word == "end" ? READ : BAD;
}

FieldsResult readTemperature(std::string_view text, NamePool& names, Event& event) {
    event.kind = Kind::Temperature;
    const std::size_t zone = valueAt(text, "thermal_zone=");
    const std::size_t id = lastOf(text, " id=");
    if (zone == NOWHERE || id == NOWHERE || id < zone || !lastNumberOf(text, "temp=", event.a)) return BAD;
    event.name = names.get(text.substr(zone, id - zone));
    return READ;
}

FieldsResult readMarkText(std::string_view text, NamePool& names, Event& event) {
    switch (kernel_events::readMark(text, names, event)) {
        case kernel_events::MarkResult::Read:
            return READ;
        case kernel_events::MarkResult::NotUsed:
            return FieldsResult::NotUsed;
        case kernel_events::MarkResult::ClockSync:
            return FieldsResult::ClockSync;
        case kernel_events::MarkResult::Bad:
            break;
    }
    return BAD;
}

// The same in the forms "tracing_mark_write: TEXT", "0x1234: TEXT" and raw "ip=0x1234 buf=TEXT".
FieldsResult readPrint(std::string_view text, NamePool& names, Event& event) {
    if (text.starts_with("ip=")) {
        const std::size_t buffer = valueAt(text, "buf=");
        return buffer != NOWHERE ? readMarkText(text.substr(buffer), names, event) : FieldsResult::NotUsed;
    }
    const std::size_t colon = text.find(": ");
    const bool hasPlace = colon != NOWHERE && text.substr(0, colon).find_first_of(" |") == NOWHERE &&
                          text.substr(0, colon) != "trace_event_clock_sync";
    return readMarkText(hasPlace ? text.substr(colon + 2) : text, names, event);
}

const std::unordered_map<std::string_view, FieldsReader> READERS = {
    {"cpu_idle", readIdle},
    {"cpu_frequency", readFrequency},
    {"cpu_frequency_limits", readLimits},
    {"sched_switch", readSwitch},
    {"sched_waking", readThreadAs<Kind::SchedWaking>},
    {"sched_wakeup", readThreadAs<Kind::SchedWakeup>},
    {"sched_wakeup_new", readThreadAs<Kind::SchedWakeupNew>},
    {"sched_process_exec", readExec},
    {"sched_process_fork", readFork},
    {"sched_process_exit", readThreadAs<Kind::ProcessExit>},
    {"irq_handler_entry", readIrq},
    {"softirq_entry", readNothing<Kind::SoftIrq>},
    {"hrtimer_expire_entry", readTimer<Kind::HrtimerExpire>},
    {"timer_expire_entry", readTimer<Kind::TimerExpire>},
    {"local_timer_entry", readNothing<Kind::LocalTimer>},
    {"reschedule_entry", readNothing<Kind::Reschedule>},
    {"call_function_entry", readNothing<Kind::CallFunction>},
    {"call_function_single_entry", readNothing<Kind::CallFunctionSingle>},
    {"wakeup_source_activate", readSource<Kind::SourceActivate>},
    {"wakeup_source_deactivate", readSource<Kind::SourceDeactivate>},
    {"clock_set_rate", readClock},
    {"suspend_resume", readSuspend},
    {"thermal_temperature", readTemperature},
    {"tracing_mark_write", readMarkText},
    {"print", readPrint},
    {"bprint", readPrint},
};

}  // namespace

FieldsReader fieldsReader(std::string_view event) {
    const auto found = READERS.find(event);
    return found != READERS.end() ? found->second : nullptr;
}

}  // namespace host::importers
