// How much the columns of one group of runs differ by chance alone.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "host/compare/run_table.h"

namespace host::compare {

constexpr std::size_t HALVINGS = 200;

struct ColumnNoise {
    std::size_t m_column;  // of the table
    // The 95 % quantile of the magnitude of the change between random halves of the runs; none for columns
    // without numbers and where it is not finite.
    std::optional<double> m_noise;
    // The least change that would be found between as many runs in 80 % of the halvings, with a p of at most
    // alpha divided by the number of columns that can be tested. None where no shift can reach that.
    std::optional<double> m_seen;
};

// Splits group 0 of the table at random, always in the same ways, and describes every column.
std::vector<ColumnNoise> measureNoise(const RunTable& table, double alpha);

// The places in `columns` in the order of a report: the noisiest first, those without noise left out.
std::vector<std::size_t> rankNoise(const RunTable& table, const std::vector<ColumnNoise>& columns);

}  // namespace host::compare
