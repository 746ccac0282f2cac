// The words and numbers of reports for people.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/compare/comparison.h"
#include "host/compare/noise.h"

namespace host::compare {

// The fewest digits that give the number again.
std::string exactText(double number);
// So many digits that count: "0.0123", "1.5e-09".
std::string shortText(double number, int digits);
// "+20.1 %" of a fraction.
std::string changeText(double fraction);

// A text from the input: valid UTF-8, control characters as \xNN.
std::string printable(std::string_view text);

// "3 of 412 columns differ; 9 + 8 runs"
std::string verdictText(const Comparison& comparison);
// "No difference shown: 400. Spread changed: 0. ..."
std::string countsText(const Comparison& comparison);
// Sentences about machines, and about what else there is to know after the rows.
std::vector<std::string> machineTexts(const Comparison& comparison);
std::vector<std::string> remarkTexts(const RunTable& table, const Comparison& comparison, std::size_t top);

// "12.3 [12.1..12.6]"
std::string rangeText(const Range& range);
// The change with its interval; the shift where there is no change.
std::string changeText(const ColumnResult& column);
std::string pText(const ColumnResult& column);

// The cells of a table, and what stands after it if it was cut.
struct Rows {
    std::vector<std::string> m_titles;
    std::vector<std::vector<std::string>> m_cells;
    std::vector<std::size_t> m_places;  // of the rows among the columns
    std::string m_more;                 // empty if all are here
};

Rows rowsOf(const RunTable& table, const Comparison& comparison, std::size_t top);
Rows rowsOf(const RunTable& table, const std::vector<ColumnNoise>& columns, std::size_t top);

// "Noise of 412 columns; 24 runs, split at random 200 times"
std::string noiseText(const RunTable& table);

}  // namespace host::compare
