#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "export/html/leaf.h"

namespace exporting {

// The elements of one entity and state, or part, of a metric: as they came, or, once the page has more of
// them than it may, as leaves on a grid of time.
//
// The grid is the same for all series: interval i holds the time stamps from i x 2^shift ticks on. So a
// selection that grows to its lines cuts no leaf of any series.
class Series {
public:
    Series(std::uint32_t entity, std::uint32_t state) : m_entity(entity), m_state(state) {}

    std::uint32_t entity() const { return m_entity; }  // the place in the lane's list
    std::uint32_t state() const { return m_state; }    // likewise

    void append(const Sample& sample) {
        m_isSorted = m_isSorted && (m_samples.empty() || m_samples.back().time <= sample.time);
        m_samples.push_back(sample);
    }

    // Makes leaves of all elements, by intervals of 2^shift ticks.
    void reduce(unsigned shift, const Measure& measure);

    // How many leaves there would be at that width, if all elements have been made leaves.
    std::size_t leavesAt(unsigned shift) const;

    // Puts the elements in order of time; equal stamps stay in order of arrival.
    void sort();

    // The elements that have not been made leaves.
    const std::vector<Sample>& samples() const { return m_samples; }
    const std::vector<Leaf>& leaves() const { return m_leaves; }
    std::size_t points() const { return m_samples.size() + m_leaves.size(); }

private:
    void mergeLeaves_i(unsigned shift);

    std::uint32_t m_entity;
    std::uint32_t m_state;
    bool m_isSorted = true;
    std::vector<Sample> m_samples;
    std::vector<Leaf> m_leaves;
};

}  // namespace exporting
