// The rank-sum test of Mann and Whitney (Wilcoxon) for two independent groups.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace host::compare {

// Up to so many numbers in both groups together tests are exact; above, they use the normal distribution.
constexpr std::size_t MAX_EXACT = 50;

// The smaller tail of the normal distribution beyond |z|, doubled: a two-sided p.
double twoSidedNormalP(double z);

// Keeps its working memory from call to call.
class RankSumTest {
public:
    // The two-sided p of both groups coming from one distribution: twice the smaller tail of the sum of mean
    // ranks, at most 1. Exact (over all assignments of the mean ranks to the groups) up to MAX_EXACT numbers,
    // then by the normal distribution with corrections for ties and continuity. Both groups are in ascending
    // order and not empty.
    double p(std::span<const double> a, std::span<const double> b);

private:
    // Numbers that are equal share the mean of their ranks.
    struct Tie {
        std::size_t m_inA;
        std::size_t m_inB;
    };

    void findTies_i(std::span<const double> a, std::span<const double> b);
    double exactP_i(std::size_t sizeA, std::size_t sizeB);
    double normalP_i(double sizeA, double sizeB) const;
    void rankSmallerGroup_i(bool isA);
    void countSums_i(std::size_t chosen, std::size_t limit);

    std::vector<Tie> m_ties;           // in ascending order of the numbers
    std::vector<std::size_t> m_ranks;  // doubled mean ranks, so that they are integers
    std::vector<std::size_t> m_sums;   // of the first so many ranks
    std::size_t m_rankSum = 0;         // doubled, of the smaller group
    std::vector<double> m_ways;        // [chosen][sum]: exact, as C(50, 25) needs 47 bits
};

// The smallest p that the exact test can give for groups of these sizes without ties; 0 above MAX_EXACT.
double smallestP(std::size_t sizeA, std::size_t sizeB);

// The smallest q with P(U <= q) >= 0.025 for groups without ties, at least 1, where U is the statistic of
// Mann and Whitney: the k-th smallest and the k-th largest of all differences between the groups bound the
// shift with 95 % confidence. Both groups hold at least one number.
std::size_t confidenceRank(std::size_t sizeA, std::size_t sizeB);

// The smallest difference count U for which the two-sided p without ties is at most `level`; more than
// sizeA * sizeB if there is none.
std::size_t criticalCount(std::size_t sizeA, std::size_t sizeB, double level);

}  // namespace host::compare
