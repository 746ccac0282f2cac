#include "host/compare/phrases.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "host/base/text.h"
#include "host/base/utf8.h"
#include "host/compare/rank_sum_test.h"

namespace host::compare {

namespace {

std::string count(const char* what, std::size_t number) {
    return std::string(what) + ": " + std::to_string(number) + ".";
}

std::string listed(const std::vector<std::string>& texts) {
    constexpr std::size_t SHOWN = 3;
    std::string all;
    for (std::size_t i = 0; i < std::min(SHOWN, texts.size()); ++i)
        all += (all.empty() ? "" : ", ") + printable(texts[i]);
    if (texts.size() > SHOWN) all += " and " + std::to_string(texts.size() - SHOWN) + " more";
    return all.empty() ? "not known" : all;
}

// The number of columns that must change before one of them can pass the adjustment, as p has a smallest
// value.
std::size_t leastToBeSeen(const Comparison& comparison) {
    const auto tested = std::count_if(comparison.m_columns.begin(), comparison.m_columns.end(),
                                      [](const ColumnResult& column) { return column.m_p.has_value(); });
    const double smallest = smallestP(comparison.m_runs[0], comparison.m_runs[1]);
    return static_cast<std::size_t>(std::ceil(static_cast<double>(tested) * smallest / comparison.m_alpha));
}

// A bar for the magnitude of a change next to the largest one of a report.
std::string barText(double change, double largest) {
    constexpr double LENGTH = 10;
    if (!std::isfinite(change)) return std::string(static_cast<std::size_t>(LENGTH), '#');
    const double share = largest > 0 ? std::abs(change) / largest : 0;
    return std::string(static_cast<std::size_t>(std::max(1.0, std::round(share * LENGTH))), '#');
}

std::string moreText(std::size_t hidden) {
    return hidden == 0 ? std::string() : std::to_string(hidden) + " more: see --top.";
}

}  // namespace

std::string exactText(double number) {
    std::string text;
    base::appendNumber(text, number);
    return text;
}

std::string shortText(double number, int digits) {
    std::array<char, 32> text;
    const auto done =
        std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::general, digits);
    return {text.data(), done.ptr};
}

std::string changeText(double fraction) {
    const double percent = fraction * 100;
    if (std::abs(percent) >= 1e6) return (percent > 0 ? "+" : "") + shortText(percent, 3) + " %";
    const std::string text = base::fixedText(std::abs(percent), 1);
    return (fraction < 0 && text != "0.0" ? "-" : "+") + text + " %";
}

std::string printable(std::string_view text) {
    constexpr std::string_view DIGITS = "0123456789abcdef";
    std::string result;
    for (const char character : base::toUtf8(text)) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte >= 0x20 && byte != 0x7F) {
            result += character;
        } else {
            result += "\\x";
            result += DIGITS[byte / 16];
            result += DIGITS[byte % 16];
        }
    }
    return result;
}

std::string verdictText(const Comparison& comparison) {
    const std::string all = " of " + std::to_string(comparison.m_columns.size());
    const std::string runs =
        std::to_string(comparison.m_runs[0]) + " + " + std::to_string(comparison.m_runs[1]) + " runs";
    if (!comparison.isTooSmall())
        return std::to_string(comparison.count(Verdict::Differs)) + all + " columns differ; " + runs;
    return std::to_string(comparison.count(Verdict::Separated)) + all +
           " columns have ranges that do not touch; " + runs + " are too few to test, which takes 6 + 6";
}

std::string countsText(const Comparison& comparison) {
    return count("No difference shown", comparison.count(Verdict::Same)) + " " +
           count("Spread changed", comparison.count(Verdict::Spread)) + " " +
           count("Constant", comparison.count(Verdict::Constant)) + " " +
           count("Only in A", comparison.count(Verdict::OnlyA)) + " " +
           count("Only in B", comparison.count(Verdict::OnlyB)) + " " +
           count("Not numeric", comparison.count(Verdict::Text));
}

std::vector<std::string> machineTexts(const Comparison& comparison) {
    std::vector<std::string> texts;
    for (const MachineDifference& difference : comparison.m_machines)
        texts.push_back("Not the same " + std::string(difference.m_what) + ": A " +
                        listed(difference.m_values[0]) + "; B " + listed(difference.m_values[1]));
    return texts;
}

std::vector<std::string> remarkTexts(const RunTable& table, const Comparison& comparison, std::size_t top) {
    std::vector<std::string> texts = {countsText(comparison)};
    const std::size_t separated = comparison.count(Verdict::Separated);
    if (!comparison.isTooSmall() && separated > 0)
        texts.push_back(
            count("Ranges that do not touch, in columns with fewer than 6 + 6 numbers", separated));
    if (const std::size_t least = comparison.isTooSmall() ? 0 : leastToBeSeen(comparison); least > 1)
        texts.push_back("With so few runs, a change shows only if " + std::to_string(least) +
                        " or more of these columns change: record more to see a single one.");
    std::size_t shown = 0;
    for (const Drift& drift : comparison.m_drifts) {
        if (shown++ == top) break;
        texts.push_back(std::string("Drift within ") + (drift.m_group == 0 ? "A" : "B") + ": " +
                        printable(table.name(drift.m_column)) + " goes " + (drift.m_isUp ? "up" : "down") +
                        " with time (adjusted p " + shortText(drift.m_adjustedP, 2) + ")");
    }
    const std::size_t drifts = comparison.m_drifts.size();
    if (drifts > top) texts.push_back("Drift in " + std::to_string(drifts - top) + " more: see --top.");
    if (drifts > 0)
        texts.emplace_back(
            "Runs drift: interleave A and B when recording, so that both meet the same drift.");
    return texts;
}

std::string rangeText(const Range& range) {
    return shortText(range.m_median, 6) + " [" + shortText(range.m_least, 6) + ".." +
           shortText(range.m_most, 6) + "]";
}

std::string changeText(const ColumnResult& column) {
    if (!column.m_change)
        return column.m_shift ? (*column.m_shift > 0 ? "by +" : "by ") + shortText(*column.m_shift, 6) : "-";
    std::string text = changeText(*column.m_change);
    if (column.m_low && column.m_high)
        text += " [" + changeText(*column.m_low) + ".." + changeText(*column.m_high) + "]";
    return text;
}

std::string pText(const ColumnResult& column) {
    if (column.m_verdict == Verdict::Spread) return shortText(column.m_spreadP.value_or(1), 2) + " (spread)";
    return column.m_adjustedP ? shortText(*column.m_adjustedP, 2) : "-";
}

Rows rowsOf(const RunTable& table, const Comparison& comparison, std::size_t top) {
    Rows rows{{"Column", "Median of A [least..most]", "Median of B [least..most]", "Change [95 % interval]",
               "Adjusted p", "Size"},
              {},
              comparison.ranking(table),
              {}};
    rows.m_more = moreText(rows.m_places.size() - std::min(top, rows.m_places.size()));
    rows.m_places.resize(std::min(top, rows.m_places.size()));
    double largest = 0;
    for (const std::size_t place : rows.m_places)
        largest = std::max(largest, std::abs(comparison.m_columns[place].m_change.value_or(0)));
    for (const std::size_t place : rows.m_places) {
        const ColumnResult& column = comparison.m_columns[place];
        rows.m_cells.push_back({printable(table.name(column.m_column)), rangeText(*column.m_ranges[0]),
                                rangeText(*column.m_ranges[1]), changeText(column), pText(column),
                                barText(column.effectiveChange(), largest)});
    }
    return rows;
}

Rows rowsOf(const RunTable& table, const std::vector<ColumnNoise>& columns, std::size_t top) {
    Rows rows{{"Column", "Noise", "Change that could be seen"}, {}, rankNoise(table, columns), {}};
    rows.m_more = moreText(rows.m_places.size() - std::min(top, rows.m_places.size()));
    rows.m_places.resize(std::min(top, rows.m_places.size()));
    const auto percent = [](const std::optional<double>& fraction) {
        return fraction ? changeText(*fraction).substr(1) : "-";
    };
    for (const std::size_t place : rows.m_places) {
        const ColumnNoise& column = columns[place];
        rows.m_cells.push_back(
            {printable(table.name(column.m_column)), percent(column.m_noise), percent(column.m_seen)});
    }
    return rows;
}

std::string noiseText(const RunTable& table) {
    return "Noise of " + std::to_string(table.columns()) + " columns; " + std::to_string(table.runs(0)) +
           " runs, split at random " + std::to_string(HALVINGS) + " times";
}

}  // namespace host::compare
