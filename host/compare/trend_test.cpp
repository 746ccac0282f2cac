#include "host/compare/trend_test.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numeric>

#include "host/compare/rank_sum_test.h"

namespace host::compare {

namespace {

// The pairs of a series of MAX_EXACT numbers: only the lower half of a distribution is ever needed.
constexpr std::size_t HALF_OF_PAIRS = MAX_EXACT * (MAX_EXACT - 1) / 4 + 1;

std::int64_t scoreOf(std::span<const double> series) {
    std::int64_t score = 0;
    for (std::size_t i = 1; i < series.size(); ++i) {
        const double last = series[i];
        std::int32_t rises = 0;
        std::int32_t falls = 0;
        for (std::size_t j = 0; j < i; ++j) {
            rises += series[j] < last ? 1 : 0;
            falls += series[j] > last ? 1 : 0;
        }
        score += rises - falls;
    }
    return score;
}

void addBlock(double* __restrict to, const double* __restrict from, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) to[i] += from[i];
}

void subtractBlock(double* __restrict to, const double* __restrict from, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) to[i] -= from[i];
}

// Turns the first `size` coefficients of a polynomial into those of its product with (1 - q^b) / (1 - q^a), b
// being at least a. The division comes first: it only adds. Both go by blocks in which no coefficient depends
// on another, so that they can be worked on side by side.
void scale(double* polynomial, std::size_t size, std::size_t b, std::size_t a) {
    for (std::size_t begin = a; begin < size; begin += a)
        addBlock(polynomial + begin, polynomial + begin - a, std::min(a, size - begin));
    for (std::size_t end = size; end > b;) {
        const std::size_t count = std::min(b, end - b);
        end -= count;
        subtractBlock(polynomial + end, polynomial + end - b, count);
    }
}

}  // namespace

Trend TrendTest::test(std::span<const double> series) {
    findTies_i(series);
    const std::int64_t score = scoreOf(series);
    const double p = series.size() <= MAX_EXACT ? exactP_i(series.size(), score)
                                                : normalP_i(static_cast<double>(series.size()), score);
    return {score, p};
}

void TrendTest::findTies_i(std::span<const double> series) {
    m_sorted.assign(series.begin(), series.end());
    std::sort(m_sorted.begin(), m_sorted.end());
    m_ties.clear();
    for (auto begin = m_sorted.begin(); begin != m_sorted.end();) {
        const auto end = std::find_if(begin, m_sorted.end(), [&](double value) { return value != *begin; });
        if (end - begin > 1) m_ties.push_back(static_cast<std::size_t>(end - begin));
        begin = end;
    }
}

// By their inversions, the orders of n distinct numbers have the generating function of a product of
// (1 - q^i) / (1 - q), i from 1 to n.
const std::vector<double>& TrendTest::ordersOfDistinct_i(std::size_t count) {
    if (m_distinct.empty()) {
        m_distinct.emplace_back(HALF_OF_PAIRS, 0.0);
        m_distinct.front().front() = 1;
    }
    while (m_distinct.size() <= count) {
        std::vector<double> next = m_distinct.back();
        scale(next.data(), next.size(), m_distinct.size(), 1);
        m_distinct.push_back(std::move(next));
    }
    return m_distinct[count];
}

// With ties, each group of t equal numbers among the n so far contributes a Gaussian binomial of n over t.
// The distribution is symmetric, and its lower half starts from few inversions whichever way the trend goes.
double TrendTest::exactP_i(std::size_t count, std::int64_t score) {
    const std::size_t tied = std::accumulate(m_ties.begin(), m_ties.end(), std::size_t{0});
    std::size_t pairs = count * (count - 1) / 2;
    for (const std::size_t tie : m_ties) pairs -= tie * (tie - 1) / 2;
    const std::size_t inversions = (pairs - static_cast<std::size_t>(std::abs(score))) / 2;
    const std::vector<double>& distinct = ordersOfDistinct_i(count - tied);
    m_ways.assign(distinct.begin(), distinct.begin() + static_cast<std::ptrdiff_t>(inversions + 1));
    double total = 1;
    std::size_t placed = count - tied;
    for (std::size_t i = 2; i <= placed; ++i) total *= static_cast<double>(i);
    std::size_t degree = placed * (placed - 1) / 2;
    for (const std::size_t tie : m_ties) {
        const std::size_t before = placed;
        for (std::size_t i = 1; i <= tie; ++i) {
            ++placed;
            degree += before;
            scale(m_ways.data(), std::min(m_ways.size(), degree + 1), placed, i);
            total = total * static_cast<double>(placed) / static_cast<double>(i);
        }
    }
    return std::min(1.0, 2 * std::accumulate(m_ways.begin(), m_ways.end(), 0.0) / total);
}

double TrendTest::normalP_i(double count, std::int64_t score) const {
    if (score == 0) return 1;
    const auto weight = [](double n) { return n * (n - 1) * (2 * n + 5); };
    double variance = weight(count);
    for (const std::size_t tie : m_ties) variance -= weight(static_cast<double>(tie));
    return twoSidedNormalP((std::abs(static_cast<double>(score)) - 1) / std::sqrt(variance / 18));
}

}  // namespace host::compare
