#pragma once

#include <cstdint>
#include <vector>

#include "export/html/block.h"
#include "export/html/series.h"

namespace exporting {

// Writes the numbers of a lane's series, in their order, as columns (see docs/formats/html.md).
class LaneBlock {
public:
    explicit LaneBlock(Block& block) : m_block(block) {}

    // `series` must be in order of time.
    void add(const Series& series);

private:
    using Column = std::vector<double>;

    void addSamples_i(const std::vector<Sample>& samples);
    void addLeaves_i(const std::vector<Leaf>& leaves);
    void addColumn_i(std::size_t place, Column column);
    void addDurations_i(std::size_t place, const Column& times, Column durations);
    void write_i();

    Block& m_block;
    std::vector<Column> m_before;  // of the series before, by place
    std::vector<Column> m_columns;
    std::vector<std::uint8_t> m_bytes;
};

}  // namespace exporting
