// All differences between two groups, by rank.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace host::compare {

// The middle of numbers in ascending order; of an even count the mean of the two in the middle.
double medianOfSorted(std::span<const double> sorted);

// Differences b - a of every number of one group from every number of the other, without making them all:
// 1,000 numbers against 1,000 have a million. Works in O((m + n) log) steps and memory of m + n.
class Differences {
public:
    // Both groups are in ascending order, not empty, and belong to the caller until the next call.
    void set(std::span<const double> a, std::span<const double> b);

    std::size_t size() const { return m_a.size() * m_b.size(); }

    // The k-th smallest difference, from 1 to size.
    double smallest(std::size_t k);
    double largest(std::size_t k) { return smallest(size() + 1 - k); }

    // The estimate of Hodges and Lehmann for the shift from a to b.
    double median();

private:
    std::size_t countUpTo_i(double bound) const;
    void collect_i(double above, double upTo);

    std::span<const double> m_a;
    std::span<const double> m_b;
    std::vector<double> m_candidates;
};

}  // namespace host::compare
