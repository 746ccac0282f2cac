#include "host/base/utf8.h"

#include <cstring>

namespace host::base {

namespace {

constexpr std::uint64_t HIGH_BITS = 0x8080808080808080U;
constexpr std::uint64_t UP_FROM_BLANK = 0x6060606060606060U;  // takes what is below a blank not up to 128

// True if eight bytes are all between 32 and 127.
bool isPlain(const char* text) {
    std::uint64_t word = 0;
    std::memcpy(&word, text, sizeof word);
    return (word & HIGH_BITS) == 0 && ((word + UP_FROM_BLANK) & HIGH_BITS) == HIGH_BITS;
}

// The length of the sequence that starts with a byte above 127 and whose second byte is given; 0 if no
// sequence starts so.
std::size_t sequenceLength(unsigned lead, unsigned second) {
    if (lead >= 0xC2 && lead <= 0xDF) return second >= 0x80 && second <= 0xBF ? 2 : 0;
    if (lead >= 0xE0 && lead <= 0xEF) {
        const unsigned lowest = lead == 0xE0 ? 0xA0 : 0x80;
        const unsigned highest = lead == 0xED ? 0x9F : 0xBF;
        return second >= lowest && second <= highest ? 3 : 0;
    }
    if (lead >= 0xF0 && lead <= 0xF4) {
        const unsigned lowest = lead == 0xF0 ? 0x90 : 0x80;
        const unsigned highest = lead == 0xF4 ? 0x8F : 0xBF;
        return second >= lowest && second <= highest ? 4 : 0;
    }
    return 0;
}

unsigned byteAt(const char* text) {
    return static_cast<unsigned char>(*text);
}

// The length of the character at the front of a text that is not empty; 0 if there is none.
std::size_t characterLength(const char* text, std::size_t size) {
    const unsigned lead = byteAt(text);
    if (lead < 0x80) return 1;
    if (size < 2) return 0;
    const std::size_t length = sequenceLength(lead, byteAt(text + 1));
    if (length > size) return 0;
    for (std::size_t i = 2; i < length; ++i)
        if ((byteAt(text + i) & 0xC0) != 0x80) return 0;
    return length;
}

}  // namespace

Utf8Check checkUtf8(const char* text, std::size_t size) {
    const char* const end = text + size;
    while (text != end) {
        if (end - text >= 8 && isPlain(text)) {
            text += 8;
            continue;
        }
        const unsigned lead = byteAt(text);
        if (lead == 0) return Utf8Check::ZeroByte;
        if (lead < 0x80) {
            if (lead < ' ' && lead != '\t' && lead != '\r' && lead != '\n') return Utf8Check::Control;
            ++text;
            continue;
        }
        const std::size_t length = characterLength(text, static_cast<std::size_t>(end - text));
        if (length == 0) return Utf8Check::Bad;
        text += length;
    }
    return Utf8Check::Good;
}

bool isUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = characterLength(text.data(), text.size());
        if (length == 0) return false;
        text.remove_prefix(length);
    }
    return true;
}

std::string toUtf8(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = characterLength(text.data(), text.size());
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

}  // namespace host::base
