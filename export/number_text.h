#pragma once

#include <charconv>
#include <cmath>
#include <cstddef>
#include <string_view>

namespace exporting {

// The shortest text of a number that reads back as the same number, without an allocation. What is no number
// is "NaN", "Inf" or "-Inf".
class NumberText {
public:
    explicit NumberText(double value) {
        if (std::isfinite(value)) {
            print_i(value);
        } else {
            m_size = (std::isnan(value) ? NAN_TEXT
                      : value > 0       ? POSITIVE
                                        : NEGATIVE)
                         .copy(m_text, sizeof m_text);
        }
    }
    explicit NumberText(long value) { print_i(value); }
    explicit NumberText(unsigned long value) { print_i(value); }

    std::string_view view() const { return {m_text, m_size}; }

private:
    static constexpr std::string_view NAN_TEXT = "NaN";
    static constexpr std::string_view POSITIVE = "Inf";
    static constexpr std::string_view NEGATIVE = "-Inf";

    template <typename Number>
    void print_i(Number value) {
        m_size = static_cast<std::size_t>(std::to_chars(m_text, m_text + sizeof m_text, value).ptr - m_text);
    }

    char m_text[32];  // the longest has 24 characters
    std::size_t m_size = 0;
};

}  // namespace exporting
