#include "host/stream/fault.h"

#include <algorithm>

namespace host::stream {

namespace {

constexpr std::size_t LONGEST_QUOTE = 100;

bool continuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

void appendVisibly(std::string& out, char byte) {
    static const char* const DIGITS = "0123456789abcdef";
    const auto value = static_cast<unsigned char>(byte);
    if (value >= ' ' && value != 127) {
        out += byte;
    } else {
        out.append("\\x").append(1, DIGITS[value >> 4]).append(1, DIGITS[value & 15]);
    }
}

}  // namespace

std::string quoted(std::string_view text) {
    std::size_t end = std::min(text.size(), LONGEST_QUOTE);
    while (end > 0 && end < text.size() && continuesCharacter(text[end])) --end;
    std::string result = "\"";
    for (const char byte : text.substr(0, end)) appendVisibly(result, byte);
    result += end < text.size() ? "...\"" : "\"";
    return result;
}

void Fault::in_i(std::string_view key) {
    m_text.insert(0, quoted(key).append(": "));
}

void Fault::in(std::string_view list, std::size_t item) {
    if (m_isSet) m_text.insert(0, quoted(list).append("[").append(std::to_string(item)).append("]: "));
}

}  // namespace host::stream
