#include "host/stream/token_reader.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "host/base/text.h"

namespace host::stream {

namespace {

// True if a JSON number is written as an integer.
bool isIntegerText(std::string_view text) {
    if (!text.empty() && text[0] == '-') text.remove_prefix(1);
    return !text.empty() && std::all_of(text.begin(), text.end(), base::isDigit);
}

// True if a JSON number is smaller than 1: it is zero, or its first digit that counts stands after the
// point once the exponent is applied.
bool isBelowOne(std::string_view text) {
    const std::size_t mark = std::min(text.find_first_of("eE"), text.size());
    const std::string_view digits = text.substr(0, mark);
    const std::size_t first = digits.find_first_of("123456789");
    if (first == std::string_view::npos) return true;
    long exponent = 0;
    if (mark < text.size()) {
        const std::size_t sign = text[mark + 1] == '+' ? 1 : 0;
        const auto result =
            std::from_chars(text.data() + mark + 1 + sign, text.data() + text.size(), exponent);
        if (result.ec != std::errc()) return text[mark + 1] == '-';
    }
    const std::size_t point = std::min(digits.find('.'), digits.size());
    const long place = static_cast<long>(point) - static_cast<long>(first);  // 1: the digit before the point
    return exponent <= -(first < point ? place : place + 1);
}

template <typename Real>
Real readNumber(const Token& token, const char* what, Fault& fault) {
    if (token.m_type != Token::Number) {
        setExpected(what, token, fault);
        return 0;
    }
    Real value = 0;
    const auto result = std::from_chars(token.m_text, token.m_text + token.m_size, value);
    if (result.ec == std::errc()) return value;
    if (isBelowOne(token.text())) return token.m_text[0] == '-' ? Real{-0.0F} : Real{0.0F};
    fault.set(describe(token) + " is out of range");
    return 0;
}

}  // namespace

void setExpected(const char* what, const Token& token, Fault& fault) {
    fault.set("expected " + std::string(what) + ", found " + describe(token));
}

void setNotInteger(const Token& token, const std::string& low, const std::string& high, Fault& fault) {
    if (token.m_type != Token::Number || !isIntegerText(token.text())) {
        setExpected("an integer", token, fault);
        return;
    }
    fault.set(describe(token) + " is out of range, " + low + " to " + high);
}

double readDouble(const Token& token, Fault& fault) {
    return readNumber<double>(token, "a number", fault);
}

float readFloat(const Token& token, Fault& fault) {
    return readNumber<float>(token, "a number", fault);
}

double readReal(const Token& token, Fault& fault) {
    if (token.m_type == Token::Text) {
        const std::string_view text = token.text();
        if (text == "nan") return std::numeric_limits<double>::quiet_NaN();
        if (text == "inf") return std::numeric_limits<double>::infinity();
        if (text == "-inf") return -std::numeric_limits<double>::infinity();
    }
    return readNumber<double>(token, "a number, \"nan\", \"inf\" or \"-inf\"", fault);
}

std::string_view readText(const Token& token, Fault& fault) {
    if (token.m_type == Token::Text) return token.text();
    setExpected("a text", token, fault);
    return {};
}

bool readFlag(const Token& token, Fault& fault) {
    if (token.m_type != Token::True && token.m_type != Token::False)
        setExpected("true or false", token, fault);
    return token.m_type == Token::True;
}

bool isList(const Token& token, Fault& fault) {
    if (token.m_type == Token::List) return true;
    setExpected("a list", token, fault);
    return false;
}

bool splitList(const Token& token, std::size_t count, const Token** items, Fault& fault) {
    if (!isList(token, fault)) return false;
    std::size_t found = 0;
    for (const Token* item = token.begin(); item != token.end(); item = item->next(), ++found)
        if (found < count) items[found] = item;
    if (found == count) return true;
    fault.set("expected a list of " + std::to_string(count) + ", found " + std::to_string(found));
    return false;
}

}  // namespace host::stream
