#include "host/compare/comparison.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "host/compare/adjustment.h"
#include "host/compare/differences.h"
#include "host/compare/rank_sum_test.h"
#include "host/compare/trend_test.h"

namespace host::compare {

namespace {

constexpr double NONE = std::numeric_limits<double>::quiet_NaN();

// What is looked for beside a shift must show more clearly, as nobody asked for it.
constexpr double SIDE_FINDINGS = 5;

std::optional<double> ifFinite(double value) {
    return std::isfinite(value) ? std::optional(value) : std::nullopt;
}

std::optional<double> ifNumber(double value) {
    return std::isnan(value) ? std::nullopt : std::optional(value);
}

// Does the tests of one column after the other; keeps what they need from column to column.
class ColumnTests {
public:
    ColumnTests(const RunTable& table, const CompareOptions& options) : m_table(table), m_options(options) {}

    ColumnResult describe(std::size_t column);

    // Of the column last described; not-a-number where there is no test.
    double spreadP() const { return m_spreadP; }
    bool isSpreadDoubled() const { return m_isSpreadDoubled; }

private:
    void estimate_i(ColumnResult& result);
    void test_i(ColumnResult& result);
    void testSpread_i();
    std::size_t confidenceRank_i();

    const RunTable& m_table;
    const CompareOptions& m_options;
    RankSumTest m_rankSumTest;
    Differences m_differences;
    std::array<std::vector<double>, 2> m_sorted;
    std::array<std::vector<double>, 2> m_distances;
    std::vector<double> m_both;
    std::array<std::size_t, 2>
        m_rankedSizes{};  // that m_confidenceRank holds for: mostly all columns have them
    std::size_t m_confidenceRank = 0;
    double m_spreadP = NONE;
    bool m_isSpreadDoubled = false;
};

ColumnResult ColumnTests::describe(std::size_t column) {
    ColumnResult result;
    result.m_column = column;
    result.m_unit = unitOf(m_table.name(column));
    m_spreadP = NONE;
    m_isSpreadDoubled = false;
    for (std::size_t group = 0; group < 2; ++group) {
        const std::span<const double> numbers = m_table.numbers(column, group);
        std::vector<double>& sorted = m_sorted[group];
        sorted.assign(numbers.begin(), numbers.end());
        std::sort(sorted.begin(), sorted.end());
        result.m_counts[group] = sorted.size();
        if (!sorted.empty()) result.m_ranges[group] = {sorted.front(), medianOfSorted(sorted), sorted.back()};
    }
    if (m_table.isText(column)) {
        result.m_verdict = Verdict::Text;
    } else if (!result.m_ranges[1]) {
        result.m_verdict = Verdict::OnlyA;
    } else if (!result.m_ranges[0]) {
        result.m_verdict = Verdict::OnlyB;
    } else {
        estimate_i(result);
    }
    return result;
}

// Fills what needs numbers in both groups.
void ColumnTests::estimate_i(ColumnResult& result) {
    const Range& a = *result.m_ranges[0];
    const Range& b = *result.m_ranges[1];
    m_differences.set(m_sorted[0], m_sorted[1]);
    const double shift = m_differences.median();
    result.m_shift = ifFinite(shift);
    result.m_change = ifFinite(shift / std::abs(a.m_median));
    const bool isConstant = a.m_least == a.m_most && b.m_least == b.m_most && a.m_least == b.m_least;
    const bool isTested = std::min(m_sorted[0].size(), m_sorted[1].size()) >= MIN_TESTED;
    if (isConstant) {
        result.m_verdict = Verdict::Constant;
    } else if (isTested) {
        test_i(result);
        testSpread_i();
    } else if ((a.m_most < b.m_least || b.m_most < a.m_least) &&
               std::abs(result.effectiveChange()) >= m_options.m_minChange) {
        result.m_verdict = Verdict::Separated;
    }
}

void ColumnTests::test_i(ColumnResult& result) {
    const double unit = std::abs(result.m_ranges[0]->m_median);
    const std::size_t rank = confidenceRank_i();
    result.m_p = m_rankSumTest.p(m_sorted[0], m_sorted[1]);
    result.m_low = ifFinite(m_differences.smallest(rank) / unit);
    result.m_high = ifFinite(m_differences.largest(rank) / unit);
}

std::size_t ColumnTests::confidenceRank_i() {
    const std::array sizes = {m_sorted[0].size(), m_sorted[1].size()};
    if (sizes != m_rankedSizes) {
        m_rankedSizes = sizes;
        m_confidenceRank = confidenceRank(sizes[0], sizes[1]);
    }
    return m_confidenceRank;
}

void ColumnTests::testSpread_i() {
    m_both.resize(m_sorted[0].size() + m_sorted[1].size());
    std::merge(m_sorted[0].begin(), m_sorted[0].end(), m_sorted[1].begin(), m_sorted[1].end(),
               m_both.begin());
    const double middle = medianOfSorted(m_both);
    std::array<double, 2> typical{};
    for (std::size_t group = 0; group < 2; ++group) {
        std::vector<double>& distances = m_distances[group];
        distances = m_sorted[group];
        for (double& distance : distances) distance = std::abs(distance - middle);
        std::sort(distances.begin(), distances.end());
        typical[group] = medianOfSorted(distances);
    }
    m_isSpreadDoubled = std::max(typical[0], typical[1]) >= 2 * std::min(typical[0], typical[1]);
    m_spreadP = m_rankSumTest.p(m_distances[0], m_distances[1]);
}

// Judges the tested columns by what is only known once all are done. Spread p values are in the columns'
// order.
void judge(Comparison& comparison, const std::vector<double>& spreadP,
           const std::vector<bool>& isSpreadDoubled, const CompareOptions& options) {
    std::vector<double> p;
    p.reserve(comparison.m_columns.size());
    for (const ColumnResult& column : comparison.m_columns) p.push_back(column.m_p.value_or(NONE));
    const std::vector<double> adjusted = adjust(p);
    const std::vector<double> adjustedSpread = adjust(spreadP);
    for (std::size_t i = 0; i < adjusted.size(); ++i) {
        ColumnResult& column = comparison.m_columns[i];
        column.m_adjustedP = ifNumber(adjusted[i]);
        column.m_spreadP = ifNumber(adjustedSpread[i]);
        if (!column.m_p) continue;
        const bool isLarge = column.m_change ? std::abs(*column.m_change) >= options.m_minChange
                                             : column.effectiveChange() != 0;
        if (adjusted[i] <= options.m_alpha && isLarge) {
            column.m_verdict = Verdict::Differs;
        } else if (isSpreadDoubled[i] && adjustedSpread[i] <= options.m_alpha / SIDE_FINDINGS) {
            column.m_verdict = Verdict::Spread;
        }
    }
}

std::vector<Drift> findDrifts(const RunTable& table, double alpha) {
    std::vector<Drift> drifts;
    std::vector<double> p;
    TrendTest test;
    for (std::size_t group = 0; group < 2; ++group)
        for (std::size_t column = 0; column < table.columns(); ++column) {
            const std::span<const double> numbers = table.numbers(column, group);
            if (numbers.size() < MIN_TESTED) continue;
            if (std::all_of(numbers.begin(), numbers.end(), [&](double x) { return x == numbers[0]; }))
                continue;
            const Trend trend = test.test(numbers);
            drifts.push_back({group, column, trend.m_score > 0, trend.m_p, 0});
            p.push_back(trend.m_p);
        }
    const std::vector<double> adjusted = adjust(p);
    for (std::size_t i = 0; i < drifts.size(); ++i) drifts[i].m_adjustedP = adjusted[i];
    std::erase_if(drifts, [&](const Drift& drift) { return !(drift.m_adjustedP <= alpha / SIDE_FINDINGS); });
    return drifts;
}

}  // namespace

std::string_view nameOf(Verdict verdict) {
    constexpr std::array<std::string_view, VERDICTS> NAMES = {"differs",  "spread", "separated", "same",
                                                              "constant", "onlyA",  "onlyB",     "text"};
    return NAMES[static_cast<std::size_t>(verdict)];
}

double ColumnResult::effectiveChange() const {
    if (m_change) return *m_change;
    // A shift that is itself not finite has lost its sign; the medians have it.
    const double shift = m_shift ? *m_shift : m_ranges[1]->m_median / 2 - m_ranges[0]->m_median / 2;
    return shift == 0 ? 0 : std::copysign(std::numeric_limits<double>::infinity(), shift);
}

std::size_t Comparison::count(Verdict verdict) const {
    return static_cast<std::size_t>(
        std::count_if(m_columns.begin(), m_columns.end(),
                      [&](const ColumnResult& column) { return column.m_verdict == verdict; }));
}

std::vector<std::size_t> Comparison::ranking(const RunTable& table) const {
    std::vector<std::size_t> order;
    for (std::size_t i = 0; i < m_columns.size(); ++i)
        if (m_columns[i].m_verdict <= Verdict::Separated) order.push_back(i);
    std::sort(order.begin(), order.end(), [&](std::size_t left, std::size_t right) {
        const ColumnResult& a = m_columns[left];
        const ColumnResult& b = m_columns[right];
        const bool isSpreadA = a.m_verdict == Verdict::Spread;
        if (const bool isSpreadB = b.m_verdict == Verdict::Spread; isSpreadA != isSpreadB) return isSpreadB;
        const double pA = a.m_adjustedP.value_or(2);
        if (const double pB = b.m_adjustedP.value_or(2); pA != pB) return pA < pB;
        const double changeA = std::abs(a.effectiveChange());
        if (const double changeB = std::abs(b.effectiveChange()); changeA != changeB)
            return changeA > changeB;
        return table.name(a.m_column) < table.name(b.m_column);
    });
    return order;
}

Comparison compare(const RunTable& table, const CompareOptions& options) {
    Comparison comparison;
    comparison.m_runs = {table.runs(0), table.runs(1)};
    comparison.m_alpha = options.m_alpha;
    comparison.m_columns.reserve(table.columns());
    ColumnTests tests(table, options);
    std::vector<double> spreadP;
    std::vector<bool> isSpreadDoubled;
    for (std::size_t column = 0; column < table.columns(); ++column) {
        comparison.m_columns.push_back(tests.describe(column));
        spreadP.push_back(tests.spreadP());
        isSpreadDoubled.push_back(tests.isSpreadDoubled());
    }
    judge(comparison, spreadP, isSpreadDoubled, options);
    comparison.m_drifts = findDrifts(table, options.m_alpha);
    return comparison;
}

std::vector<MachineDifference> compareMachines(std::span<const Group> groups) {
    constexpr std::array<std::pair<std::string_view, std::string Machine::*>, 4> FIELDS = {
        {{"host", &Machine::m_host},
         {"CPU", &Machine::m_cpu},
         {"kernel", &Machine::m_kernel},
         {"command", &Machine::m_command}}};
    std::vector<MachineDifference> differences;
    for (const auto& [what, field] : FIELDS) {
        MachineDifference difference{what, {}};
        for (std::size_t group = 0; group < groups.size(); ++group)
            for (const Run& run : groups[group].m_runs) {
                std::vector<std::string>& values = difference.m_values[group];
                if (!run.m_machine || (*run.m_machine.*field).empty()) continue;
                if (std::find(values.begin(), values.end(), *run.m_machine.*field) == values.end())
                    values.push_back(*run.m_machine.*field);
            }
        const auto& [a, b] = difference.m_values;
        if (a.size() > 1 || b.size() > 1 || (!a.empty() && !b.empty() && a != b))
            differences.push_back(std::move(difference));
    }
    return differences;
}

}  // namespace host::compare
