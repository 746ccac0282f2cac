#include "host/compare/cell.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <system_error>

#include "host/base/text.h"

namespace host::compare {

namespace {

std::string_view withoutBlanks(std::string_view text) {
    while (!text.empty() && base::isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && base::isBlank(text.back())) text.remove_suffix(1);
    return text;
}

// Of a number without sign that lies outside the range of doubles: whether it is below it. from_chars gives
// the same error for both ends.
bool isTooSmall(std::string_view number) {
    const std::size_t mark = std::min(number.find_first_of("eE"), number.size());
    const std::string_view digits = number.substr(0, mark);
    const auto point = static_cast<std::ptrdiff_t>(std::min(digits.find('.'), digits.size()));
    const auto first = static_cast<std::ptrdiff_t>(digits.find_first_of("123456789"));
    std::string_view exponentText = number.substr(std::min(mark + 1, number.size()));
    if (exponentText.starts_with('+')) exponentText.remove_prefix(1);
    std::ptrdiff_t exponent = 0;
    const auto [end, error] =
        std::from_chars(exponentText.data(), exponentText.data() + exponentText.size(), exponent);
    if (error == std::errc::result_out_of_range) return exponentText.front() == '-';
    return point - first + exponent < 0;
}

}  // namespace

Cell readCell(std::string_view text) {
    text = withoutBlanks(text);
    if (text.empty() || text == "Invalid") return {Cell::Missing};
    const bool isNegative = text.front() == '-';
    if (isNegative || text.front() == '+') text.remove_prefix(1);
    // from_chars would also take "inf", "nan" and a second sign.
    if (text.empty() || (!base::isDigit(text.front()) && text.front() != '.')) return {Cell::Text};
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error == std::errc::invalid_argument || end != text.data() + text.size()) return {Cell::Text};
    if (error == std::errc::result_out_of_range) {
        if (!isTooSmall(text)) return {Cell::Text};
        number = 0;
    }
    return {Cell::Number, isNegative && number != 0 ? -number : number};
}

}  // namespace host::compare
