#include "host/kernel_events/raw_event.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include "host/base/text.h"

namespace host::kernel_events {

namespace {

// Of the names of threads.
constexpr std::size_t LONGEST_NAME = 15;

// Numbers that the kernel prints as unsigned ones of 32 bits, whatever the type of their field.
bool isUnsigned32(Kind kind) {
    return kind == Kind::CpuIdle || kind == Kind::SuspendResume;
}

bool readNumber(const std::optional<RawField>& field, std::span<const char> bytes, std::int64_t& number) {
    return !field || field->read(bytes, number);
}

}  // namespace

NameId AddressNames::get(std::uint64_t address) {
    NameId& known = m_known[address];
    if (known != 0) return known;
    std::string name = m_find(address);
    if (name.empty()) {
        char digits[16];
        const auto done = std::to_chars(digits, std::end(digits), address, 16);
        name = "0x" + std::string(digits, done.ptr);
    }
    return known = m_names.get(name);
}

const RawEventReader::Spec RawEventReader::SPECS[] = {
    {.event = "cpu_idle", .kind = Kind::CpuIdle, .subject = "cpu_id", .a = "state"},
    {.event = "cpu_frequency", .kind = Kind::CpuFrequency, .subject = "cpu_id", .a = "state"},
    {.event = "cpu_frequency_limits",
     .kind = Kind::CpuFrequencyLimits,
     .subject = "cpu_id",
     .a = "min_freq",
     .b = "max_freq"},
    {.event = "sched_switch",
     .kind = Kind::SchedSwitch,
     .a = "prev_pid",
     .b = "next_pid",
     .name = "prev_comm",
     .other = "next_comm",
     .state = "prev_state"},
    {.event = "sched_waking", .kind = Kind::SchedWaking, .a = "pid", .name = "comm"},
    {.event = "sched_wakeup", .kind = Kind::SchedWakeup, .a = "pid", .name = "comm"},
    {.event = "sched_wakeup_new", .kind = Kind::SchedWakeupNew, .a = "pid", .name = "comm"},
    {.event = "sched_process_exec",
     .kind = Kind::ProcessExec,
     .a = "pid",
     .name = "filename",
     .nameIs = NameIs::File},
    {.event = "sched_process_fork",
     .kind = Kind::ProcessFork,
     .a = "parent_pid",
     .b = "child_pid",
     .name = "child_comm"},
    {.event = "sched_process_exit", .kind = Kind::ProcessExit, .a = "pid", .name = "comm"},
    {.event = "irq_handler_entry", .kind = Kind::IrqHandler, .name = "name"},
    {.event = "softirq_entry", .kind = Kind::SoftIrq},
    {.event = "hrtimer_expire_entry",
     .kind = Kind::HrtimerExpire,
     .name = "function",
     .nameIs = NameIs::Function},
    {.event = "timer_expire_entry",
     .kind = Kind::TimerExpire,
     .name = "function",
     .nameIs = NameIs::Function},
    {.event = "local_timer_entry", .kind = Kind::LocalTimer},
    {.event = "reschedule_entry", .kind = Kind::Reschedule},
    {.event = "call_function_entry", .kind = Kind::CallFunction},
    {.event = "call_function_single_entry", .kind = Kind::CallFunctionSingle},
    {.event = "wakeup_source_activate", .kind = Kind::SourceActivate, .name = "name"},
    {.event = "wakeup_source_deactivate", .kind = Kind::SourceDeactivate, .name = "name"},
    {.event = "clock_set_rate", .kind = Kind::ClockRate, .a = "state", .name = "name"},
    {.event = "suspend_resume",
     .kind = Kind::SuspendResume,
     .a = "val",
     .b = "start",
     .name = "action",
     .nameIs = NameIs::Pointer},
    {.event = "thermal_temperature", .kind = Kind::Temperature, .a = "temp", .name = "thermal_zone"},
};

const RawEventReader::Spec* RawEventReader::findSpec_i(std::string_view event) {
    const auto* const found = std::find_if(std::begin(SPECS), std::end(SPECS),
                                           [&](const Spec& spec) { return event == spec.event; });
    return found != std::end(SPECS) ? found : nullptr;
}

bool RawEventReader::isKnown(std::string_view event) {
    return findSpec_i(event) != nullptr;
}

std::optional<RawEventReader> RawEventReader::make(const RawFormat& format, std::string& missing) {
    const Spec* const spec = findSpec_i(format.event);
    if (spec == nullptr) return std::nullopt;
    RawEventReader reader;
    reader.m_kind = spec->kind;
    reader.m_nameIs = spec->nameIs;
    const auto find = [&](const char* name, std::optional<RawField>& to) {
        const RawField* const field = name != nullptr ? format.find(name) : nullptr;
        if (field != nullptr) to = *field;
        if (name != nullptr && field == nullptr) missing = name;
    };
    find("common_pid", reader.m_pid);
    find(spec->subject, reader.m_subject);
    find(spec->a, reader.m_a);
    find(spec->b, reader.m_b);
    find(spec->name, reader.m_name);
    find(spec->other, reader.m_other);
    find(spec->state, reader.m_state);
    if (!missing.empty()) return std::nullopt;
    return reader;
}

bool RawEventReader::readName_i(std::span<const char> bytes, NamePool& names, AddressNames& functions,
                                AddressNames& texts, NameId& name) const {
    if (m_nameIs == NameIs::Function || m_nameIs == NameIs::Pointer) {
        std::int64_t address = 0;
        if (m_name->form != RawField::Form::Number) {
            std::string_view text;
            const bool isGood = m_name->read(bytes, text);
            if (isGood) name = names.get(text);
            return isGood;
        }
        if (!m_name->read(bytes, address)) return false;
        AddressNames& found = m_nameIs == NameIs::Function ? functions : texts;
        name = found.get(static_cast<std::uint64_t>(address));
        return true;
    }
    std::string_view text;
    if (!m_name->read(bytes, text)) return false;
    if (m_nameIs == NameIs::File) {
        if (const std::size_t slash = text.rfind('/'); slash != std::string_view::npos)
            text.remove_prefix(slash + 1);
        text = text.substr(0, LONGEST_NAME);
    }
    name = names.get(text);
    return true;
}

bool RawEventReader::read(std::span<const char> bytes, NamePool& names, AddressNames& functions,
                          AddressNames& texts, Event& event) const {
    std::int64_t subject = 0;
    event.kind = m_kind;
    if (!m_pid->read(bytes, event.pid) || !readNumber(m_subject, bytes, subject)) return false;
    if (!readNumber(m_a, bytes, event.a) || !readNumber(m_b, bytes, event.b)) return false;
    if (subject < 0 || subject >= MOST_CPUS) return false;
    event.subject = static_cast<std::uint32_t>(subject);
    if (isUnsigned32(m_kind)) event.a &= 0xFFFFFFFF;
    if (m_name && !readName_i(bytes, names, functions, texts, event.name)) return false;
    std::int64_t state = 0;
    if (!readNumber(m_state, bytes, state)) return false;
    event.isRunnable = m_state && isRunnableState(state);
    std::string_view other;
    if (m_other && !m_other->read(bytes, other)) return false;
    if (m_other) event.other = names.get(other);
    return true;
}

}  // namespace host::kernel_events
