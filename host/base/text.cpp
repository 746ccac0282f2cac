#include "host/base/text.h"

namespace host::base {

namespace {

// Length of the UTF-8 sequence at the front of `text`, 0 if there is none.
std::size_t sequenceLength(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) return 1;
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return 0;
    for (std::size_t i = 1; i < length; ++i)
        if ((byte(i) & 0xC0) != 0x80) return 0;
    const unsigned char second = byte(1);
    const bool tooLong = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
    const bool notACharacter = (lead == 0xED && second > 0x9F) || (lead == 0xF4 && second > 0x8F);
    return tooLong || notACharacter ? 0 : length;
}

}  // namespace

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

std::string toUtf8(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = sequenceLength(text);
        if (length == 0)
            out.append("\xEF\xBF\xBD");
        else
            out.append(text.substr(0, length));
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return out;
}

std::string cutUtf8(const std::string& text, std::size_t limit) {
    if (text.size() <= limit) return text;
    while (limit > 0 && (static_cast<unsigned char>(text[limit]) & 0xC0) == 0x80) --limit;
    return text.substr(0, limit);
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
