// The test of Mann and Kendall for a trend in a series.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace host::compare {

struct Trend {
    std::int64_t m_score;  // pairs that rise less pairs that fall
    double m_p;            // two-sided
};

// Keeps its working memory, and what all series share, from call to call.
class TrendTest {
public:
    // Tests numbers that stand in order of time; there is at least one. Exact, over all orders of the
    // numbers, up to MAX_EXACT numbers (ties included); then by the normal distribution with corrections for
    // ties and continuity. A series of equal numbers has p 1.
    Trend test(std::span<const double> series);

private:
    void findTies_i(std::span<const double> series);
    double exactP_i(std::size_t count, std::int64_t score);
    double normalP_i(double count, std::int64_t score) const;
    const std::vector<double>& ordersOfDistinct_i(std::size_t count);

    std::vector<double> m_sorted;
    std::vector<std::size_t> m_ties;  // how often each number occurs, where more than once
    std::vector<double> m_ways;
    std::vector<std::vector<double>> m_distinct;  // [count][inversions]: orders of so many distinct numbers
};

}  // namespace host::compare
