#include "host/base/text.h"

namespace host::base {

std::string fixedText(double value, int decimals) {
    char digits[400];
    const auto done =
        std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, decimals);
    return std::string(digits, static_cast<std::size_t>(done.ptr - digits));
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::optional<std::vector<unsigned>> parseCpuList(std::string_view text) {
    constexpr std::uint64_t highest = 1 << 20;
    std::vector<unsigned> numbers;
    text = trimmed(text);
    while (!text.empty()) {
        std::uint64_t first = 0;
        if (!takeUnsigned(text, first)) return std::nullopt;
        std::uint64_t last = first;
        if (text.starts_with('-')) {
            text.remove_prefix(1);
            if (!takeUnsigned(text, last)) return std::nullopt;
        }
        if (last < first || last > highest) return std::nullopt;
        for (std::uint64_t n = first; n <= last; ++n) numbers.push_back(static_cast<unsigned>(n));
        if (text.starts_with(',')) text.remove_prefix(1);
    }
    return numbers;
}

}  // namespace host::base
