#pragma once

#include <cstddef>
#include <ostream>
#include <vector>

#include "host/compare/comparison.h"
#include "host/compare/noise.h"

namespace host::compare {

// Write a page that needs nothing else: no script, no other file. Texts from the input are escaped, and the
// page forbids the browser to load anything.
void writeHtml(const RunTable& table, const Comparison& comparison, std::size_t top, std::ostream& out);
void writeNoiseHtml(const RunTable& table, const std::vector<ColumnNoise>& columns, std::size_t top,
                    std::ostream& out);

}  // namespace host::compare
