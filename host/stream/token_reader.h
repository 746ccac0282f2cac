// Typed reading of single tokens. Each function sets the fault and returns a default when the token is not
// what is asked for.
#pragma once

#include <charconv>
#include <limits>
#include <string>
#include <string_view>

#include "host/stream/fault.h"
#include "host/stream/json_line.h"

namespace host::stream {

void setExpected(const char* what, const Token& token, Fault& fault);

// Reads digits only: the fast way in. Returns false if the token is anything but a plain integer that fits.
template <typename Integer>
bool readPlainInteger(const Token& token, Integer& out) {
    if (token.m_type != Token::Number) return false;
    const char* const end = token.m_text + token.m_size;
    const auto result = std::from_chars(token.m_text, end, out);
    return result.ec == std::errc() && result.ptr == end;
}

// Says why `token` is no integer from `low` to `high`.
void setNotInteger(const Token& token, const std::string& low, const std::string& high, Fault& fault);

template <typename Integer>
Integer readInteger(const Token& token, Fault& fault, Integer low = std::numeric_limits<Integer>::min(),
                    Integer high = std::numeric_limits<Integer>::max()) {
    Integer value{};
    const bool isRead =
        readPlainInteger(token, value) || (token.m_type == Token::Number && token.text() == "-0");
    if (isRead && value >= low && value <= high) return value;
    setNotInteger(token, std::to_string(low), std::to_string(high), fault);
    return Integer{};
}

// Reads a finite number, correctly rounded; what is too small for the type is zero of the same sign.
double readDouble(const Token& token, Fault& fault);
float readFloat(const Token& token, Fault& fault);

// Reads a number or one of the texts "nan", "inf" and "-inf".
double readReal(const Token& token, Fault& fault);

std::string_view readText(const Token& token, Fault& fault);
bool readFlag(const Token& token, Fault& fault);

// Returns true if the token is a list, else sets the fault.
bool isList(const Token& token, Fault& fault);

// Calls `read` for every item of a list until a fault is set; `key` names the list in the fault.
template <typename Read>
void readItems(std::string_view key, const Token& list, Fault& fault, Read read) {
    if (!isList(list, fault)) {
        fault.in(key);
        return;
    }
    std::size_t item = 0;
    for (const Token* token = list.begin(); token != list.end(); token = token->next(), ++item) {
        read(*token);
        if (fault.isSet()) {
            fault.in(key, item);
            return;
        }
    }
}

// Splits a list of exactly `count` items; returns false with the fault set if it is anything else.
bool splitList(const Token& token, std::size_t count, const Token** items, Fault& fault);

}  // namespace host::stream
