#include "host/kernel_events/mark_text.h"

#include <charconv>
#include <cstdint>

#include "host/base/text.h"

namespace host::kernel_events {

namespace {

constexpr std::size_t NOWHERE = std::string_view::npos;

// The number that a text begins with.
bool readNumber(std::string_view text, std::int64_t& number) {
    return std::from_chars(text.data(), text.data() + text.size(), number).ec == std::errc();
}

// "|PID|NAME" or, with a number after it, "|PID|NAME|NUMBER".
bool readMarked(std::string_view text, NamePool& names, Event& event, bool hasNumber) {
    std::int64_t process = 0;
    const std::size_t bar = text.find('|', 1);
    if (bar == NOWHERE || !readNumber(text.substr(1), process)) return false;
    std::string_view name = text.substr(bar + 1);
    if (hasNumber) {
        const std::size_t last = name.rfind('|');
        if (last == NOWHERE || !readNumber(name.substr(last + 1), event.a)) return false;
        name = name.substr(0, last);
    }
    event.name = names.get(name);
    return true;
}

Kind kindOfMark(char letter) {
    switch (letter) {
        case 'B':
            return Kind::MarkBegin;
        case 'E':
            return Kind::MarkEnd;
        case 'C':
            return Kind::MarkCounter;
        case 'I':
            return Kind::MarkInstant;
        case 'S':
            return Kind::MarkAsyncBegin;
        case 'F':
            return Kind::MarkAsyncEnd;
        default:
            return Kind::None;
    }
}

MarkResult readClockSync(std::string_view text, Event& event) {
    constexpr std::string_view KEY = "realtime_ts=";
    const std::size_t at = text.find(KEY);
    if (at == NOWHERE || (at > 0 && text[at - 1] != ' ')) return MarkResult::NotUsed;
    return readNumber(text.substr(at + KEY.size()), event.a) && event.a > 0 ? MarkResult::ClockSync
                                                                            : MarkResult::Bad;
}

}  // namespace

MarkResult readMark(std::string_view text, NamePool& names, Event& event) {
    constexpr std::string_view CLOCK_SYNC = "trace_event_clock_sync:";
    if (text.starts_with(CLOCK_SYNC)) return readClockSync(text.substr(CLOCK_SYNC.size()), event);
    text = base::trimmed(text);
    if (text.empty() || (text.size() > 1 && text[1] != '|')) return MarkResult::NotUsed;
    event.kind = kindOfMark(text.front());
    if (event.kind == Kind::MarkEnd) return MarkResult::Read;
    if (event.kind == Kind::None || text.size() == 1) return MarkResult::NotUsed;
    const bool hasNumber = event.kind != Kind::MarkBegin && event.kind != Kind::MarkInstant;
    return readMarked(text.substr(1), names, event, hasNumber) ? MarkResult::Read : MarkResult::Bad;
}

}  // namespace host::kernel_events
