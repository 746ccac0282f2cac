#include "host/compare/rank_sum_test.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

namespace host::compare {

namespace {

double binomial(std::size_t n, std::size_t k) {
    double result = 1;
    for (std::size_t i = 1; i <= k; ++i)
        result = result * static_cast<double>(n - k + i) / static_cast<double>(i);
    return result;
}

// How many assignments give each U from 0 to m * n: coefficients of the Gaussian binomial, by the recurrence
// of multiplying with 1 - q^(n + i) and dividing by 1 - q^i. All are integers below 2^53.
std::vector<double> countsOfU(std::size_t m, std::size_t n) {
    std::vector<double> counts(m * n + 1, 0);
    counts[0] = 1;
    for (std::size_t i = 1; i <= m; ++i) {
        for (std::size_t u = counts.size(); u-- > n + i;) counts[u] -= counts[u - n - i];
        for (std::size_t u = i; u < counts.size(); ++u) counts[u] += counts[u - i];
    }
    return counts;
}

// The standard deviation of U.
double deviationOfU(double m, double n) {
    return std::sqrt(m * n * (m + n + 1) / 12);
}

// The smallest count whose upper tail, doubled, is at most `level`.
std::size_t exactCriticalCount(std::size_t m, std::size_t n, double level) {
    const std::vector<double> counts = countsOfU(m, n);
    const double total = binomial(m + n, std::min(m, n));
    double tail = 0;
    std::size_t u = m * n + 1;
    while (u > 0 && 2 * (tail + counts[u - 1]) / total <= level) tail += counts[--u];
    return u;
}

std::size_t normalCriticalCount(std::size_t m, std::size_t n, double level) {
    const double middle = static_cast<double>(m * n) / 2;
    const double deviation = deviationOfU(static_cast<double>(m), static_cast<double>(n));
    std::size_t low = m * n / 2;
    std::size_t high = m * n + 1;
    while (low < high) {
        const std::size_t u = (low + high) / 2;
        const double distance = std::max(0.0, static_cast<double>(u) - middle - 0.5);
        if (twoSidedNormalP(distance / deviation) <= level) {
            high = u;
        } else {
            low = u + 1;
        }
    }
    return low;
}

}  // namespace

double twoSidedNormalP(double z) {
    return std::min(1.0, std::erfc(std::abs(z) / std::numbers::sqrt2));
}

double RankSumTest::p(std::span<const double> a, std::span<const double> b) {
    findTies_i(a, b);
    if (a.size() + b.size() <= MAX_EXACT) return exactP_i(a.size(), b.size());
    return normalP_i(static_cast<double>(a.size()), static_cast<double>(b.size()));
}

void RankSumTest::findTies_i(std::span<const double> a, std::span<const double> b) {
    m_ties.clear();
    std::size_t nextA = 0;
    std::size_t nextB = 0;
    while (nextA < a.size() || nextB < b.size()) {
        const bool isFromA = nextB == b.size() || (nextA < a.size() && a[nextA] <= b[nextB]);
        const double value = isFromA ? a[nextA] : b[nextB];
        Tie tie{0, 0};
        while (nextA < a.size() && a[nextA] == value) ++nextA, ++tie.m_inA;
        while (nextB < b.size() && b[nextB] == value) ++nextB, ++tie.m_inB;
        m_ties.push_back(tie);
    }
}

// Fills the ranks and the rank sum of one group. Where its sum is above the middle, ranks are counted from
// the other end: the tail that is then left to count is short.
void RankSumTest::rankSmallerGroup_i(bool isA) {
    const auto fill = [&](auto begin, auto end) {
        m_ranks.clear();
        m_rankSum = 0;
        for (auto tie = begin; tie != end; ++tie) {
            const std::size_t size = tie->m_inA + tie->m_inB;
            const std::size_t rank = 2 * m_ranks.size() + size + 1;
            m_rankSum += rank * (isA ? tie->m_inA : tie->m_inB);
            m_ranks.insert(m_ranks.end(), size, rank);
        }
    };
    std::size_t chosen = 0;
    for (const Tie& tie : m_ties) chosen += isA ? tie.m_inA : tie.m_inB;
    fill(m_ties.begin(), m_ties.end());
    if (m_rankSum > chosen * (m_ranks.size() + 1)) fill(m_ties.rbegin(), m_ties.rend());
}

// Fills m_ways[chosen] with the number of ways to choose so many of the ranks with each sum up to `limit`.
// Ranks are taken in ascending order, so only sums are followed that can still stay within the limit.
void RankSumTest::countSums_i(std::size_t chosen, std::size_t limit) {
    const std::size_t count = m_ranks.size();
    const std::size_t width = limit + 1;
    m_sums.assign(1, 0);
    for (const std::size_t rank : m_ranks) m_sums.push_back(m_sums.back() + rank);
    m_ways.assign((chosen + 1) * width, 0);
    m_ways[0] = 1;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t rank = m_ranks[i];
        const std::size_t least = chosen + i < count ? 0 : chosen + i - count;  // chosen so far, at least
        for (std::size_t k = std::min(i, chosen - 1) + 1; k-- > least;) {
            // From k chosen ones to k + 1 by this rank; the others that will follow add `rest` or more.
            const std::size_t rest = m_sums[i + chosen - k] - m_sums[i + 1];
            if (m_sums[k] + rank + rest > limit) continue;
            const double* const from = &m_ways[k * width];
            double* const to = &m_ways[(k + 1) * width + rank];
            const std::size_t end = std::min(limit - rank - rest, m_sums[i] - m_sums[i - k]) + 1;
            for (std::size_t sum = m_sums[k]; sum < end; ++sum) to[sum] += from[sum];
        }
    }
}

double RankSumTest::exactP_i(std::size_t sizeA, std::size_t sizeB) {
    const std::size_t chosen = std::min(sizeA, sizeB);
    rankSmallerGroup_i(sizeA <= sizeB);
    countSums_i(chosen, m_rankSum);
    const auto counts = m_ways.end() - static_cast<std::ptrdiff_t>(m_rankSum + 1);
    const double atMost = std::accumulate(counts, m_ways.end(), 0.0);
    const double total = binomial(sizeA + sizeB, chosen);
    const double atLeast = total - atMost + m_ways.back();
    return std::min(1.0, 2 * std::min(atMost, atLeast) / total);
}

double RankSumTest::normalP_i(double sizeA, double sizeB) const {
    const double size = sizeA + sizeB;
    double below = 0;
    double sumOfA = 0;
    double tied = 0;
    for (const Tie& tie : m_ties) {
        const auto inA = static_cast<double>(tie.m_inA);
        const double both = inA + static_cast<double>(tie.m_inB);
        sumOfA += inA * (below + (both + 1) / 2);
        tied += both * both * both - both;
        below += both;
    }
    const double distance = sumOfA - sizeA * (sizeA + 1) / 2 - sizeA * sizeB / 2;
    const double deviation = std::sqrt(sizeA * sizeB / 12 * (size + 1 - tied / (size * (size - 1))));
    if (distance == 0 || deviation == 0) return 1;
    return twoSidedNormalP((std::abs(distance) - 0.5) / deviation);
}

double smallestP(std::size_t sizeA, std::size_t sizeB) {
    return sizeA + sizeB > MAX_EXACT ? 0 : 2 / binomial(sizeA + sizeB, std::min(sizeA, sizeB));
}

std::size_t confidenceRank(std::size_t sizeA, std::size_t sizeB) {
    if (sizeA + sizeB > MAX_EXACT) {
        const auto m = static_cast<double>(sizeA);
        const auto n = static_cast<double>(sizeB);
        const double rank = std::floor(m * n / 2 + 0.5 - 1.959963984540054 * deviationOfU(m, n));
        return rank < 1 ? 1 : static_cast<std::size_t>(rank);
    }
    const std::vector<double> counts = countsOfU(sizeA, sizeB);
    const double total = binomial(sizeA + sizeB, std::min(sizeA, sizeB));
    std::size_t q = 0;
    // 0.025 is a fortieth.
    for (double sum = counts[0]; 40 * sum < total;) sum += counts[++q];
    return std::max<std::size_t>(q, 1);
}

std::size_t criticalCount(std::size_t sizeA, std::size_t sizeB, double level) {
    return sizeA + sizeB <= MAX_EXACT ? exactCriticalCount(sizeA, sizeB, level)
                                      : normalCriticalCount(sizeA, sizeB, level);
}

}  // namespace host::compare
