#include "export/csv_text.h"

#include <algorithm>
#include <array>

#include "export/clean_text.h"

namespace exporting {

namespace {

enum class Byte : unsigned char { Plain, NeedsQuotes, NeedsCleaning };

// What a byte means for a field: beyond ASCII, and at zero bytes, a closer look is needed.
constexpr std::array<Byte, 256> BYTES = [] {
    std::array<Byte, 256> bytes{};
    for (const char special : {',', '"', '\n', '\r'})
        bytes[static_cast<unsigned char>(special)] = Byte::NeedsQuotes;
    for (std::size_t i = 128; i < bytes.size(); ++i) bytes[i] = Byte::NeedsCleaning;
    bytes[0] = Byte::NeedsCleaning;
    return bytes;
}();

bool isPlain(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return BYTES[static_cast<unsigned char>(c)] == Byte::Plain; });
}

void appendQuoted(std::string_view text, std::string& row) {
    row += '"';
    for (const char c : text) {
        if (c == '"') row += '"';
        row += c;
    }
    row += '"';
}

}  // namespace

void appendCsv(std::string_view text, std::string& row) {
    if (isPlain(text)) {
        row += text;
        return;
    }
    std::string scratch;
    const std::string_view clean = cleanText(text, scratch);
    if (clean.find_first_of(",\"\n\r") == std::string_view::npos) {
        row += clean;
    } else {
        appendQuoted(clean, row);
    }
}

}  // namespace exporting
