#include "export/clean_text.h"

#include <algorithm>
#include <cstddef>

namespace exporting {

namespace {

constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD";

unsigned char byteAt(std::string_view text, std::size_t at) {
    return static_cast<unsigned char>(text[at]);
}

bool isContinuation(unsigned char byte) {
    return (byte & 0xC0) == 0x80;
}

// The number of bytes of a well-formed character of more than one byte that begins at `at`, or 0. Overlong
// forms, surrogates and what is above U+10FFFF show in the second byte.
std::size_t longCharacterAt(std::string_view text, std::size_t at) {
    const unsigned char lead = byteAt(text, at);
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() - at < length) return 0;
    for (std::size_t i = 1; i < length; ++i)
        if (!isContinuation(byteAt(text, at + i))) return 0;
    const unsigned char second = byteAt(text, at + 1);
    if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F)) return 0;
    if ((lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F)) return 0;
    return length;
}

std::size_t characterAt(std::string_view text, std::size_t at) {
    const unsigned char lead = byteAt(text, at);
    if (lead >= 0x80) return longCharacterAt(text, at);
    return lead != 0 ? 1 : 0;
}

// The length of the part of the text that is as it should be.
std::size_t cleanLength(std::string_view text, std::size_t from) {
    std::size_t at = from;
    while (at < text.size()) {
        const std::size_t length = characterAt(text, at);
        if (length == 0) break;
        at += length;
    }
    return at - from;
}

}  // namespace

std::string_view cleanText(std::string_view text, std::string& scratch) {
    std::size_t length = cleanLength(text, 0);
    if (length == text.size()) return text;
    scratch.clear();
    std::size_t at = 0;
    while (true) {
        scratch.append(text.substr(at, length));
        at += length;
        if (at == text.size()) return scratch;
        scratch.append(REPLACEMENT);
        ++at;
        length = cleanLength(text, at);
    }
}

}  // namespace exporting
