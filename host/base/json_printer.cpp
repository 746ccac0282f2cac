#include "host/base/json_printer.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "host/base/utf8.h"

namespace host::base {

namespace {

bool isAscii(std::string_view bytes) {
    return std::none_of(bytes.begin(), bytes.end(),
                        [](char byte) { return static_cast<unsigned char>(byte) >= 0x80; });
}

}  // namespace

JsonPrinter& JsonPrinter::value(std::string_view text) {
    if (isAscii(text)) {
        m_writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
        return *this;
    }
    const std::string clean = toUtf8(text);
    m_writer.String(clean.data(), static_cast<rapidjson::SizeType>(clean.size()));
    return *this;
}

JsonPrinter& JsonPrinter::value(float number) {
    return real_i(number);
}

JsonPrinter& JsonPrinter::value(double number) {
    return real_i(number);
}

template <typename Real>
JsonPrinter& JsonPrinter::real_i(Real number) {
    if (!std::isfinite(number)) {
        m_writer.String(std::isnan(number) ? "nan" : number < 0 ? "-inf" : "inf");
        return *this;
    }
    char digits[32];
    const std::to_chars_result result = std::to_chars(digits, digits + sizeof digits - 2, number);
    std::string text(digits, result.ptr);
    if (text.find_first_of(".e") == std::string::npos) text += ".0";  // so that -0 stays what it is
    m_writer.RawValue(text.data(), text.size(), rapidjson::kNumberType);
    return *this;
}

std::string quotedJson(std::string_view text) {
    JsonPrinter printer;
    printer.value(text);
    return std::string(printer.text());
}

}  // namespace host::base
