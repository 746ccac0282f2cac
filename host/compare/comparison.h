// What differs between two groups of runs.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/compare/group.h"
#include "host/compare/run_table.h"

namespace host::compare {

// A group needs so many numbers for a test: the exact test of 6 against 6 can reach p = 0.002.
constexpr std::size_t MIN_TESTED = 6;

struct CompareOptions {
    double m_alpha = 0.05;      // of the adjusted p
    double m_minChange = 0.01;  // least change worth reporting, as a fraction
};

enum class Verdict : std::uint8_t {
    Differs,    // by the test, and by at least the least change
    Spread,     // the runs of one group scatter twice as far
    Separated,  // too few numbers for a test, but the ranges do not touch
    Same,
    Constant,  // all numbers of both groups are equal
    OnlyA,
    OnlyB,
    Text,  // not numeric
};
constexpr std::size_t VERDICTS = 8;

// "differs", "spread", ... as results spell it.
std::string_view nameOf(Verdict verdict);

// Least, middle and largest of a group's numbers.
struct Range {
    double m_least;
    double m_median;
    double m_most;
};

struct ColumnResult {
    std::size_t m_column;  // of the table
    std::optional<std::string> m_unit;
    std::array<std::size_t, 2> m_counts{};         // numbers in A and B
    std::array<std::optional<Range>, 2> m_ranges;  // of A and B; none without numbers
    // The median of all differences b - a, and that as a fraction of the magnitude of A's median, with its 95
    // % interval.
    std::optional<double> m_shift;
    std::optional<double> m_change;
    std::optional<double> m_low;
    std::optional<double> m_high;
    // Of the test for a shift, and of the same test on distances from the common median, adjusted.
    std::optional<double> m_p;
    std::optional<double> m_adjustedP;
    std::optional<double> m_spreadP;
    Verdict m_verdict = Verdict::Same;

    // The change for comparisons with a limit: where there is none, infinite with the shift's sign.
    double effectiveChange() const;
};

// A column whose numbers within one group rise or fall with time.
struct Drift {
    std::size_t m_group;
    std::size_t m_column;
    bool m_isUp;
    double m_p;
    double m_adjustedP;
};

// Something that is not the same on all machines.
struct MachineDifference {
    std::string_view m_what;
    std::array<std::vector<std::string>, 2> m_values;  // of each group, each once
};

struct Comparison {
    std::array<std::size_t, 2> m_runs{};
    double m_alpha = 0;
    std::vector<ColumnResult> m_columns;  // in the table's order
    std::vector<Drift> m_drifts;          // those of A first, then in the table's order
    std::vector<MachineDifference> m_machines;

    // Whether there are too few runs for any test.
    bool isTooSmall() const { return m_runs[0] < MIN_TESTED || m_runs[1] < MIN_TESTED; }
    std::size_t count(Verdict verdict) const;
    // The places in m_columns of what a report shows, strongest first: what differs, what is separated, and
    // what has another spread.
    std::vector<std::size_t> ranking(const RunTable& table) const;
};

// Compares group 1 (B) of the table with group 0 (A).
Comparison compare(const RunTable& table, const CompareOptions& options);

// What is not the same in both groups, of what is known of their machines.
std::vector<MachineDifference> compareMachines(std::span<const Group> groups);

}  // namespace host::compare
