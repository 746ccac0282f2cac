#include "export/html/markup.h"

#include <cmath>
#include <string>

#include "export/clean_text.h"
#include "export/number_text.h"

namespace exporting {

void appendEscaped(ResultFile& page, std::string_view text) {
    std::string scratch;
    for (const char c : cleanText(text, scratch)) {
        switch (c) {
            case '&':
                page.append("&amp;");
                break;
            case '<':
                page.append("&lt;");
                break;
            case '>':
                page.append("&gt;");
                break;
            case '"':
                page.append("&quot;");
                break;
            case '\r':  // which a parser takes for a line end
                page.append("&#13;");
                break;
            default:
                page.append(c);
        }
    }
}

void appendJsonText(ResultFile& page, std::string_view text) {
    constexpr char digits[] = "0123456789abcdef";
    std::string scratch;
    page.append('"');
    for (const char c : cleanText(text, scratch)) {
        const auto code = static_cast<unsigned char>(c);
        if (code < 0x20 || c == '"' || c == '\\' || c == '<' || c == '>' || c == '&') {
            page.append("\\u00");
            page.append(digits[code >> 4]);
            page.append(digits[code & 15]);
        } else {
            page.append(c);
        }
    }
    page.append('"');
}

void appendJsonNumber(ResultFile& page, double number) {
    page.append(std::isfinite(number) ? NumberText(number).view() : "null");
}

}  // namespace exporting
