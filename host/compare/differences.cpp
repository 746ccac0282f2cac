#include "host/compare/differences.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>
#include <numeric>

namespace host::compare {

namespace {

constexpr std::int64_t LEAST = std::numeric_limits<std::int64_t>::min();

// Integers in the order of the doubles that they stand for, so that bisection takes 64 steps at most,
// whatever the magnitudes.
std::int64_t toOrdered(double value) {
    const auto bits = std::bit_cast<std::int64_t>(value);
    return bits >= 0 ? bits : LEAST - bits;
}

double fromOrdered(std::int64_t order) {
    return std::bit_cast<double>(order >= 0 ? order : LEAST - order);
}

}  // namespace

double medianOfSorted(std::span<const double> sorted) {
    const std::size_t half = sorted.size() / 2;
    return sorted.size() % 2 == 1 ? sorted[half] : std::midpoint(sorted[half - 1], sorted[half]);
}

void Differences::set(std::span<const double> a, std::span<const double> b) {
    m_a = a;
    m_b = b;
}

std::size_t Differences::countUpTo_i(double bound) const {
    std::size_t count = 0;
    std::size_t first = 0;  // of the a that are large enough; it rises with b
    for (const double b : m_b) {
        while (first < m_a.size() && b - m_a[first] > bound) ++first;
        count += m_a.size() - first;
    }
    return count;
}

void Differences::collect_i(double above, double upTo) {
    m_candidates.clear();
    std::size_t first = 0;
    std::size_t end = 0;
    for (const double b : m_b) {
        while (first < m_a.size() && b - m_a[first] > upTo) ++first;
        // Negated, since what lies below minus infinity is not a number.
        while (end < m_a.size() && !(b - m_a[end] <= above)) ++end;
        for (std::size_t i = first; i < end; ++i) m_candidates.push_back(b - m_a[i]);
    }
}

double Differences::smallest(std::size_t k) {
    // The difference is above `low`, which `below` differences are not, and at most `high`, as `upTo` are.
    std::int64_t low = toOrdered(m_b.front() - m_a.back()) - 1;
    std::int64_t high = toOrdered(m_b.back() - m_a.front());
    std::size_t below = 0;
    std::size_t upTo = size();
    while (upTo - below > std::max<std::size_t>(64, m_a.size() + m_b.size())) {
        if (low + 1 == high) return fromOrdered(high);
        const std::int64_t middle = std::midpoint(low, high);
        const std::size_t count = countUpTo_i(fromOrdered(middle));
        if (count >= k) {
            high = middle;
            upTo = count;
        } else {
            low = middle;
            below = count;
        }
    }
    collect_i(fromOrdered(low), fromOrdered(high));
    const auto wanted = m_candidates.begin() + static_cast<std::ptrdiff_t>(k - below - 1);
    std::nth_element(m_candidates.begin(), wanted, m_candidates.end());
    return *wanted;
}

double Differences::median() {
    const std::size_t half = size() / 2;
    return size() % 2 == 1 ? smallest(half + 1) : std::midpoint(smallest(half), smallest(half + 1));
}

}  // namespace host::compare
