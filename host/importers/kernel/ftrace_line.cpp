#include "host/importers/kernel/ftrace_line.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <limits>

#include "host/base/text.h"
#include "host/kernel_events/event.h"

namespace host::importers {

namespace {

constexpr std::size_t NOWHERE = std::string_view::npos;

void skipBlanks(std::string_view& text) {
    std::size_t count = 0;
    while (count < text.size() && base::isBlank(text[count])) ++count;
    text.remove_prefix(count);
}

void dropBlanks(std::string_view& text) {
    while (!text.empty() && base::isBlank(text.back())) text.remove_suffix(1);
}

// Takes what stands before the next blank, after any.
std::string_view takeWord(std::string_view& text) {
    const char* at = text.data();
    const char* const end = at + text.size();
    while (at != end && base::isBlank(*at)) ++at;
    const char* const first = at;
    while (at != end && !base::isBlank(*at)) ++at;
    text = {at, static_cast<std::size_t>(end - at)};
    return {first, static_cast<std::size_t>(at - first)};
}

template <typename Number>
bool readAll(std::string_view text, Number& number) {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end;
}

// Takes the number at the end of `text`.
bool takeLastNumber(std::string_view& text, std::uint32_t& number) {
    constexpr std::uint64_t MOST = std::numeric_limits<std::uint32_t>::max();
    std::uint64_t value = 0;
    std::uint64_t unit = 1;
    std::size_t first = text.size();
    for (; first > 0 && base::isDigit(text[first - 1]); unit *= 10) {
        if (unit > MOST) return false;
        value += static_cast<std::uint64_t>(text[--first] - '0') * unit;
    }
    if (unit == 1 || value > MOST) return false;
    number = static_cast<std::uint32_t>(value);
    text = text.substr(0, first);
    return true;
}

// "( 1200)" or "(-----)" at the end: the process.
bool takeProcess(std::string_view& text, std::uint32_t& process) {
    if (text.empty() || text.back() != ')') return true;
    const std::size_t open = text.rfind('(');
    if (open == NOWHERE) return false;
    std::string_view inside = text.substr(open + 1, text.size() - open - 2);
    skipBlanks(inside);
    if (!readAll(inside, process)) {
        if (inside.find_first_not_of('-') != NOWHERE) return false;
        process = 0;
    }
    text.remove_suffix(text.size() - open);
    dropBlanks(text);
    return true;
}

// "sh-1234", "sh  1234" and "sh  1200/1234".
bool readThread(std::string_view text, FtraceLine& line) {
    dropBlanks(text);
    line.process = 0;
    if (!takeProcess(text, line.process)) return false;
    std::uint32_t pid = 0;
    if (!takeLastNumber(text, pid) || text.empty()) return false;
    line.pid = pid;
    if (text.back() == '/') {
        text.remove_suffix(1);
        if (!takeLastNumber(text, line.process) || text.empty()) return false;
    } else if (text.back() == '-') {
        text.remove_suffix(1);
        skipBlanks(text);
        line.comm = text;
        return true;
    }
    if (!base::isBlank(text.back())) return false;
    skipBlanks(text);
    dropBlanks(text);
    line.comm = text;
    return true;
}

// Takes seconds with a point and any number of digits after it, of which nine count, or a number that is
// taken as it is. Moves `at` after it.
bool takeStamp(const char*& at, const char* end, std::uint64_t& stamp) {
    constexpr std::uint64_t NS_PER_SECOND = 1'000'000'000;
    const auto [stop, error] = std::from_chars(at, end, stamp);
    at = stop;
    if (error != std::errc() || at == end || *at != '.') return error == std::errc();
    const char* const first = ++at;
    std::uint64_t fraction = 0;
    const char* const last = at + std::min<std::ptrdiff_t>(end - at, 9);
    for (; at != last && base::isDigit(*at); ++at)
        fraction = fraction * 10 + static_cast<std::uint64_t>(*at - '0');
    for (auto digits = at - first; digits < 9; ++digits) fraction *= 10;
    while (at != end && base::isDigit(*at)) ++at;  // less than a nanosecond
    if (at == first || stamp >= std::numeric_limits<std::uint64_t>::max() / NS_PER_SECOND) return false;
    stamp = stamp * NS_PER_SECOND + fraction;
    return true;
}

// Takes a time with a colon after it as the next word; false leaves `text` alone.
bool takeTime(std::string_view& text, std::uint64_t& stamp) {
    const char* at = text.data();
    const char* const end = at + text.size();
    while (at != end && base::isBlank(*at)) ++at;
    if (at == end || !base::isDigit(*at) || !takeStamp(at, end, stamp) || at == end || *at != ':')
        return false;
    if (++at != end && !base::isBlank(*at)) return false;
    text = {at, static_cast<std::size_t>(end - at)};
    return true;
}

// What stands after the CPU: perhaps flags, the time, perhaps a period, the event.
bool readRest(std::string_view rest, FtraceLine& line) {
    if (!takeTime(rest, line.stamp)) {
        takeWord(rest);
        if (!takeTime(rest, line.stamp)) return false;
    }
    std::string_view word = takeWord(rest);
    if (!word.empty() && base::isDigit(word.front()) && word.find_first_not_of("0123456789") == NOWHERE)
        word = takeWord(rest);
    skipBlanks(rest);
    line.fields = rest;
    line.event = {};
    if (word.empty() || word.back() != ':') {
        line.fields = {word.data(), static_cast<std::size_t>(rest.data() + rest.size() - word.data())};
        return true;
    }
    word.remove_suffix(1);
    if (word.find(':') != NOWHERE) word.remove_prefix(word.rfind(':') + 1);  // its group
    line.event = word;
    return true;
}

}  // namespace

bool readFtraceLine(std::string_view text, FtraceLine& line) {
    // Names of threads may hold brackets too: the first that fits is the CPU's.
    for (std::size_t open = text.find('['); open != NOWHERE; open = text.find('[', open + 1)) {
        const std::size_t close = text.find(']', open);
        if (close == NOWHERE) break;
        if (open == 0 || !base::isBlank(text[open - 1])) continue;
        if (!readAll(text.substr(open + 1, close - open - 1), line.cpu)) continue;
        if (line.cpu < kernel_events::MOST_CPUS && readThread(text.substr(0, open), line) &&
            readRest(text.substr(close + 1), line))
            return true;
    }
    return false;
}

}  // namespace host::importers
