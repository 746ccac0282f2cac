#include "export/html/markup.h"

#include <charconv>
#include <cmath>

namespace exporting {

void appendText(std::vector<char>& page, std::string_view text) {
    page.insert(page.end(), text.begin(), text.end());
}

void appendEscaped(std::vector<char>& page, std::string_view text) {
    for (const char c : text) {
        switch (c) {
            case '&':
                appendText(page, "&amp;");
                break;
            case '<':
                appendText(page, "&lt;");
                break;
            case '>':
                appendText(page, "&gt;");
                break;
            case '"':
                appendText(page, "&quot;");
                break;
            case '\r':
                appendText(page, "&#13;");
                break;
            case '\0':
                appendText(page, "\xEF\xBF\xBD");
                break;
            default:
                page.push_back(c);
        }
    }
}

void appendJsonText(std::vector<char>& page, std::string_view text) {
    constexpr char digits[] = "0123456789abcdef";
    page.push_back('"');
    for (const char c : text) {
        const auto code = static_cast<unsigned char>(c);
        if (code < 0x20 || c == '"' || c == '\\' || c == '<' || c == '>' || c == '&') {
            appendText(page, "\\u00");
            page.push_back(digits[code >> 4]);
            page.push_back(digits[code & 15]);
        } else {
            page.push_back(c);
        }
    }
    page.push_back('"');
}

void appendJsonNumber(std::vector<char>& page, double number) {
    if (!std::isfinite(number)) return appendText(page, "null");
    char text[32];
    appendText(page, {text, std::to_chars(text, text + sizeof text, number).ptr});
}

}  // namespace exporting
