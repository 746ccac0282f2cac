#include "host/compare/gate.h"

#include <cmath>

#include "host/compare/cell.h"
#include "host/compare/glob.h"

namespace host::compare {

namespace {

bool isBroken(const Rule& rule, const ColumnResult& column) {
    if (column.m_verdict != Verdict::Differs) return false;
    const double change = column.effectiveChange();
    switch (rule.m_direction) {
        case Rule::Up:
            return change >= rule.m_limit;
        case Rule::Down:
            return change <= -rule.m_limit;
        case Rule::Either:
            return std::abs(change) >= rule.m_limit;
    }
    return false;
}

}  // namespace

std::optional<double> parsePercentage(const std::string& text) {
    const bool isPercent = text.ends_with('%');
    const Cell cell = readCell(isPercent ? text.substr(0, text.size() - 1) : text);
    if (cell.m_kind != Cell::Number || cell.m_number < 0) return std::nullopt;
    if (!isPercent && cell.m_number != 0) return std::nullopt;
    return cell.m_number / 100;
}

std::optional<Rule> parseRule(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0) return std::nullopt;
    std::string limit = text.substr(colon + 1);
    Rule::Direction direction = Rule::Either;
    if (limit.starts_with('+')) direction = Rule::Up;
    if (limit.starts_with('-')) direction = Rule::Down;
    if (direction != Rule::Either) limit.erase(0, 1);
    // The sign is the direction: there is no second one, nor one that a blank hides.
    if (!limit.ends_with('%') || limit.find_first_of("+- \t") == 0) return std::nullopt;
    const std::optional<double> fraction = parsePercentage(limit);
    if (!fraction) return std::nullopt;
    return Rule{text, text.substr(0, colon), direction, *fraction};
}

RuleResult apply(const Rule& rule, const RunTable& table, const Comparison& comparison) {
    RuleResult result{false, {}};
    for (std::size_t i = 0; i < comparison.m_columns.size(); ++i) {
        const ColumnResult& column = comparison.m_columns[i];
        if (!column.m_p && column.m_verdict != Verdict::Constant) continue;
        if (!matches(rule.m_glob, table.name(column.m_column))) continue;
        result.m_isApplied = true;
        if (isBroken(rule, column)) result.m_broken.push_back(i);
    }
    return result;
}

}  // namespace host::compare
