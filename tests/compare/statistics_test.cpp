// The parts of the statistics that R and scipy do not show: extremes, and definitions of our own. That the
// rest is right is shown by peer_test.py.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <random>

#include "host/compare/adjustment.h"
#include "host/compare/differences.h"
#include "host/compare/rank_sum_test.h"
#include "host/compare/trend_test.h"

namespace host::compare {
namespace {

using Numbers = std::vector<double>;

Numbers drawn(std::mt19937& random, std::size_t count, double steps) {
    std::normal_distribution<double> normal(10, 3);
    Numbers numbers(count);
    for (double& number : numbers) number = std::round(normal(random) * steps) / steps;
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

// Counts all ways by a map of sums, without any bound: 50 numbers have 1.3e14 assignments.
double plainP(const Numbers& a, const Numbers& b) {
    Numbers all = a;
    all.insert(all.end(), b.begin(), b.end());
    std::sort(all.begin(), all.end());
    const auto rank = [&](double number) {
        const auto [begin, end] = std::equal_range(all.begin(), all.end(), number);
        return (begin - all.begin()) + (end - all.begin()) + 1;
    };
    std::vector<std::map<std::int64_t, std::uint64_t>> ways(a.size() + 1);
    ways[0][0] = 1;
    for (const double number : all)
        for (std::size_t k = a.size(); k-- > 0;)
            for (const auto& [sum, count] : ways[k]) ways[k + 1][sum + rank(number)] += count;
    std::int64_t found = 0;
    for (const double number : a) found += rank(number);
    std::uint64_t atMost = 0;
    std::uint64_t atLeast = 0;
    std::uint64_t total = 0;
    for (const auto& [sum, count] : ways.back()) {
        total += count;
        if (sum <= found) atMost += count;
        if (sum >= found) atLeast += count;
    }
    return std::min(1.0, 2 * static_cast<double>(std::min(atMost, atLeast)) / static_cast<double>(total));
}

TEST(RankSumTest, CountsAllAssignmentsOfFiftyNumbersWithTies) {
    std::mt19937 random(5);
    RankSumTest test;
    const std::pair<std::size_t, std::size_t> sizes[] = {{25, 25}, {6, 44}, {44, 6}, {20, 30}, {7, 9}};
    for (const auto& [sizeA, sizeB] : sizes)
        for (const double steps : {0.2, 1.0, 10.0}) {
            const Numbers a = drawn(random, sizeA, steps);
            const Numbers b = drawn(random, sizeB, steps);
            EXPECT_DOUBLE_EQ(test.p(a, b), plainP(a, b)) << sizeA << " " << sizeB << " " << steps;
        }
}

TEST(RankSumTest, FindsNothingInEqualNumbers) {
    RankSumTest test;
    EXPECT_EQ(test.p(Numbers(8, 3), Numbers(9, 3)), 1);
    EXPECT_EQ(test.p(Numbers(80, 3), Numbers(90, 3)), 1);
}

TEST(ConfidenceRank, IsOneAboveThePrintedTables) {
    // Printed tables give the largest U that is still extreme: 5 for 6 + 6, 13 for 8 + 8. 1 is the least.
    EXPECT_EQ(confidenceRank(6, 6), 6U);
    EXPECT_EQ(confidenceRank(8, 8), 14U);
    EXPECT_EQ(confidenceRank(2, 3), 1U);
}

TEST(CriticalCount, IsTheFirstThatTheTestFinds) {
    RankSumTest test;
    for (const std::size_t size : {8U, 30U}) {
        for (const double level : {0.05, 0.001}) {
            const std::size_t count = criticalCount(size, size, level);
            // Groups without ties of which so many differences are positive.
            const auto p = [&](std::size_t positive) {
                Numbers a(size);
                Numbers b(size);
                for (std::size_t i = 0; i < size; ++i) a[i] = static_cast<double>(i + 1);
                for (std::size_t i = 0; i < size; ++i) {
                    const std::size_t above = std::min(size, positive);
                    positive -= above;
                    b[i] = static_cast<double>(above) + 0.5 + 1e-3 * static_cast<double>(i);
                }
                std::sort(b.begin(), b.end());
                return test.p(a, b);
            };
            EXPECT_LE(p(count), level) << size << " " << level;
            EXPECT_GT(p(count - 1), level) << size << " " << level;
        }
    }
    EXPECT_GT(criticalCount(6, 6, 0.001), 36U);
}

TEST(Differences, SelectsByRankWhateverTheMagnitudes) {
    std::mt19937 random(7);
    for (int round = 0; round < 300; ++round) {
        Numbers a = drawn(random, 1 + random() % 40, round % 2 == 0 ? 1 : 1e6);
        Numbers b = drawn(random, 1 + random() % 60, round % 2 == 0 ? 1 : 1e6);
        if (round % 5 == 0) b.back() = 1e308, a.front() = -1e308;
        if (round % 7 == 0) a.back() = 1e308, b.front() = -1e308;
        Numbers all;
        for (const double x : a)
            for (const double y : b) all.push_back(y - x);
        std::sort(all.begin(), all.end());
        Differences differences;
        differences.set(a, b);
        for (std::size_t k = 1; k <= all.size(); k += 1 + random() % 50)
            ASSERT_EQ(differences.smallest(k), all[k - 1]) << round << " " << k;
        EXPECT_EQ(differences.largest(1), all.back());
        EXPECT_EQ(differences.median(), medianOfSorted(all));
    }
}

TEST(Adjust, LeavesOutWhatWasNotTested) {
    const double none = std::numeric_limits<double>::quiet_NaN();
    const std::vector<double> adjusted = adjust({0.04, none, 0.01, 0.03, 1});
    EXPECT_DOUBLE_EQ(adjusted[0], 4.0 / 3 * 0.04);
    EXPECT_TRUE(std::isnan(adjusted[1]));
    EXPECT_DOUBLE_EQ(adjusted[2], 0.04);
    EXPECT_DOUBLE_EQ(adjusted[3], 4.0 / 3 * 0.04);
    EXPECT_DOUBLE_EQ(adjusted[4], 1);
    EXPECT_TRUE(adjust({}).empty());
}

// Counts the orders of a multiset by falling pairs, one number after the other.
double plainTrendP(const Numbers& series) {
    std::map<double, int> counts;
    for (const double number : series) ++counts[number];
    std::int64_t score = 0;
    for (std::size_t i = 0; i < series.size(); ++i)
        for (std::size_t j = 0; j < i; ++j) score += (series[i] > series[j]) - (series[i] < series[j]);
    // Merging a group of equal numbers into the others: each of the ways to place it has its count of
    // inversions.
    std::map<std::int64_t, long double> ways = {{0, 1}};
    int placed = 0;
    std::int64_t pairs = 0;
    for (const auto& [number, count] : counts) {
        // Places of the group among those before it: a lattice path, counted by its area.
        std::vector<std::map<std::int64_t, long double>> paths(static_cast<std::size_t>(count) + 1);
        paths[0][0] = 1;
        for (int step = 0; step <= placed; ++step)
            for (std::size_t k = 1; k <= static_cast<std::size_t>(count); ++k)
                for (const auto& [area, number2] : paths[k - 1]) paths[k][area + step] += number2;
        std::map<std::int64_t, long double> next;
        for (const auto& [inversions, n] : ways)
            for (const auto& [area, m] : paths.back()) next[inversions + area] += n * m;
        ways = next;
        pairs += std::int64_t{placed} * count;
        placed += count;
    }
    long double total = 0;
    long double tail = 0;
    for (const auto& [inversions, n] : ways) {
        total += n;
        if (inversions <= (pairs - std::abs(score)) / 2) tail += n;
    }
    return static_cast<double>(std::min(1.0L, 2 * tail / total));
}

TEST(TrendTest, CountsAllOrdersOfFiftyNumbersWithTies) {
    std::mt19937 random(9);
    TrendTest test;
    for (const std::size_t size : {6U, 7U, 20U, 49U, 50U})
        for (const double steps : {0.2, 1.0, 1e6})
            for (const double slope : {0.0, 0.2, -0.5}) {
                std::normal_distribution<double> normal(10, 3);
                Numbers series(size);
                for (std::size_t i = 0; i < size; ++i)
                    series[i] = std::round((normal(random) + slope * static_cast<double>(i)) * steps) / steps;
                const double wanted = plainTrendP(series);
                EXPECT_NEAR(test.test(series).m_p / wanted, 1, 1e-12) << size << " " << steps << " " << slope;
            }
}

// Beyond 50 numbers, where heavy ties change the variance most.
TEST(TrendTest, IsCloseToAllOrdersOfMoreNumbers) {
    std::mt19937 random(10);
    TrendTest test;
    for (const std::size_t size : {51U, 70U})
        for (const double most : {1.0, 4.0, 1000.0})
            for (const double slope : {0.0, 0.003}) {
                std::uniform_real_distribution<double> even(0, most);
                Numbers series(size);
                for (std::size_t i = 0; i < size; ++i)
                    series[i] = std::round(even(random) + most * slope * static_cast<double>(i));
                EXPECT_NEAR(test.test(series).m_p / plainTrendP(series), 1, 0.05) << size << " " << most;
            }
}

TEST(TrendTest, TellsTheDirection) {
    TrendTest test;
    Numbers series(60);
    for (std::size_t i = 0; i < series.size(); ++i) series[i] = static_cast<double>(i);
    EXPECT_GT(test.test(series).m_score, 0);
    EXPECT_LT(test.test(series).m_p, 1e-20);
    std::reverse(series.begin(), series.end());
    EXPECT_LT(test.test(series).m_score, 0);
    EXPECT_EQ(test.test(Numbers(60, 4)).m_p, 1);
    EXPECT_EQ(test.test(Numbers(6, 4)).m_p, 1);
}

}  // namespace
}  // namespace host::compare
