// Numbers and texts, without allocation where the machine is sampled.
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/base/utf8.h"

namespace host::base {

constexpr bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

// What may stand between the words of a line.
constexpr bool isBlank(char character) {
    return character == ' ' || character == '\t';
}

// What may stand between the values of JSON.
constexpr bool isJsonBlank(char character) {
    return isBlank(character) || character == '\n' || character == '\r';
}

// Skips blanks, takes one decimal number off the front of `text` and returns true; false leaves `text` alone.
inline bool takeUnsigned(std::string_view& text, std::uint64_t& value) {
    std::size_t at = 0;
    while (at < text.size() && isBlank(text[at])) ++at;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data() + at, end, value);
    if (error != std::errc()) return false;
    text.remove_prefix(static_cast<std::size_t>(stop - text.data()));
    return true;
}

// Takes the next line off the front of `text`, without its line end; false when nothing is left.
inline bool takeLine(std::string_view& text, std::string_view& line) {
    if (text.empty()) return false;
    const std::size_t end = text.find('\n');
    line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return true;
}

template <typename Number>
void appendNumber(std::string& out, Number value) {
    char digits[32];
    const auto done = std::to_chars(digits, digits + sizeof digits, value);
    out.append(digits, static_cast<std::size_t>(done.ptr - digits));
}

// The number with so many decimals, as in "%.2f".
std::string fixedText(double value, int decimals);

// The text without blanks and line ends at either end.
std::string_view trimmed(std::string_view text);

// Numbers of a list such as "0-3,8,10-11", in ascending order as they stand.
std::optional<std::vector<unsigned>> parseCpuList(std::string_view text);

}  // namespace host::base
