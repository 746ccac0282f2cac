#include "host/importers/kernel/ftrace_line.h"

#include <charconv>
#include <limits>

#include "host/kernel_events/event.h"

namespace host::importers {

namespace {

constexpr std::size_t NOWHERE = std::string_view::npos;

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

bool isBlank(char character) {
    return character == ' ' || character == '\t';
}

void skipBlanks(std::string_view& text) {
    std::size_t count = 0;
    while (count < text.size() && isBlank(text[count])) ++count;
    text.remove_prefix(count);
}

void dropBlanks(std::string_view& text) {
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
}

// Takes what stands before the next blank, behind any.
std::string_view takeWord(std::string_view& text) {
    skipBlanks(text);
    std::size_t size = 0;
    while (size < text.size() && !isBlank(text[size])) ++size;
    const std::string_view word = text.substr(0, size);
    text.remove_prefix(size);
    return word;
}

template <typename Number>
bool readAll(std::string_view text, Number& number) {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end;
}

// Takes the number at the end of `text`.
bool takeLastNumber(std::string_view& text, std::uint32_t& number) {
    std::size_t first = text.size();
    while (first > 0 && isDigit(text[first - 1])) --first;
    if (!readAll(text.substr(first), number)) return false;
    text.remove_suffix(text.size() - first);
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
    if (!isBlank(text.back())) return false;
    skipBlanks(text);
    dropBlanks(text);
    line.comm = text;
    return true;
}

bool readTime(std::string_view word, std::uint64_t& stamp) {
    if (word.size() < 2 || word.back() != ':' || !isDigit(word.front())) return false;
    word.remove_suffix(1);
    const auto read = readStamp(word);
    if (read) stamp = *read;
    return read.has_value();
}

// What stands behind the CPU: perhaps flags, the time, perhaps a period, the event.
bool readRest(std::string_view rest, FtraceLine& line) {
    if (!readTime(takeWord(rest), line.stamp) && !readTime(takeWord(rest), line.stamp)) return false;
    std::string_view word = takeWord(rest);
    if (!word.empty() && word.find_first_not_of("0123456789") == NOWHERE) word = takeWord(rest);
    skipBlanks(rest);
    line.fields = rest;
    line.event = {};
    if (word.empty() || word.back() != ':') {
        line.fields = {word.data(), static_cast<std::size_t>(rest.data() + rest.size() - word.data())};
        return true;
    }
    word.remove_suffix(1);
    const std::size_t group = word.rfind(':');
    line.event = group == NOWHERE ? word : word.substr(group + 1);
    return true;
}

}  // namespace

std::optional<std::uint64_t> readStamp(std::string_view text) {
    constexpr std::uint64_t NS_PER_SECOND = 1'000'000'000;
    const std::size_t point = text.find('.');
    std::uint64_t whole = 0;
    if (!readAll(text.substr(0, point), whole)) return std::nullopt;
    if (point == NOWHERE) return whole;
    if (whole >= std::numeric_limits<std::uint64_t>::max() / NS_PER_SECOND) return std::nullopt;
    const std::string_view digits = text.substr(point + 1);
    if (digits.empty()) return std::nullopt;
    std::uint64_t fraction = 0;
    for (std::size_t i = 0; i < 9; ++i)
        fraction = fraction * 10 + (i < digits.size() ? static_cast<std::uint64_t>(digits[i] - '0') : 0);
    for (const char digit : digits)
        if (!isDigit(digit)) return std::nullopt;
    return whole * NS_PER_SECOND + fraction;
}

std::optional<FtraceLine> readFtraceLine(std::string_view text) {
    FtraceLine line;
    // Names of threads may hold brackets too: the first that fits is the CPU's.
    for (std::size_t open = text.find('['); open != NOWHERE; open = text.find('[', open + 1)) {
        const std::size_t close = text.find(']', open);
        if (close == NOWHERE) break;
        if (open == 0 || !isBlank(text[open - 1])) continue;
        if (!readAll(text.substr(open + 1, close - open - 1), line.cpu)) continue;
        if (line.cpu < kernel_events::MOST_CPUS && readThread(text.substr(0, open), line) &&
            readRest(text.substr(close + 1), line))
            return line;
    }
    return std::nullopt;
}

}  // namespace host::importers
