// Limits that fail a comparison.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/compare/comparison.h"

namespace host::compare {

// "GLOB:+3%": columns of these names must not rise by so much.
struct Rule {
    enum Direction : std::uint8_t { Up, Down, Either };

    std::string m_text;  // as given
    std::string m_glob;  // on the column's name
    Direction m_direction;
    double m_limit;  // a fraction, not negative
};

// Splits at the last colon. Returns nothing if the text is no rule.
std::optional<Rule> parseRule(const std::string& text);

// "3%" as a fraction; a bare 0 is one too. Nothing if the text is neither or negative.
std::optional<double> parsePercentage(const std::string& text);

// What a rule found.
struct RuleResult {
    bool m_isApplied;                   // to a column that was tested or is constant
    std::vector<std::size_t> m_broken;  // places of the columns that break it
};

RuleResult apply(const Rule& rule, const RunTable& table, const Comparison& comparison);

}  // namespace host::compare
