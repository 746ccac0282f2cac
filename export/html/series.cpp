#include "export/html/series.h"

#include <algorithm>

namespace exporting {

void Series::sort() {
    if (m_isSorted) return;
    std::stable_sort(m_samples.begin(), m_samples.end(),
                     [](const Sample& a, const Sample& b) { return a.time < b.time; });
    m_isSorted = true;
}

void Series::reduce(unsigned shift, const Measure& measure) {
    sort();
    const bool isLate =
        !m_leaves.empty() && !m_samples.empty() && m_samples.front().time < m_leaves.back().last;
    std::int64_t before = !m_samples.empty() ? m_samples.front().time : 0;
    if (!m_leaves.empty() && !isLate) before = m_leaves.back().last;
    for (const Sample& sample : m_samples) {
        const Leaf leaf = leafOf(sample, before, measure);
        before = sample.time;
        if (!m_leaves.empty() && !isLate && m_leaves.back().last >> shift == leaf.first >> shift)
            mergeInto(m_leaves.back(), leaf);
        else
            m_leaves.push_back(leaf);
    }
    if (isLate)
        std::stable_sort(m_leaves.begin(), m_leaves.end(),
                         [](const Leaf& a, const Leaf& b) { return a.first < b.first; });
    std::vector<Sample>().swap(m_samples);
    mergeLeaves_i(shift);
}

void Series::mergeLeaves_i(unsigned shift) {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < m_leaves.size(); ++i) {
        Leaf& last = m_leaves[kept != 0 ? kept - 1 : 0];
        if (kept != 0 && last.first >> shift == m_leaves[i].first >> shift) {
            // Leaves that came late may reach beyond those that they are sorted before.
            const std::int64_t end = std::max(last.last, m_leaves[i].last);
            mergeInto(last, m_leaves[i]);
            last.last = end;
        } else {
            m_leaves[kept++] = m_leaves[i];
        }
    }
    m_leaves.resize(kept);
}

std::size_t Series::leavesAt(unsigned shift) const {
    std::size_t count = 0;
    for (std::size_t i = 0; i < m_leaves.size(); ++i)
        count += i == 0 || m_leaves[i].first >> shift != m_leaves[i - 1].first >> shift;
    return count;
}

}  // namespace exporting
