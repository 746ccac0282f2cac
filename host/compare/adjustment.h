// p values of many tests made at once.
#pragma once

#include <vector>

namespace host::compare {

// Adjusts p values after Benjamini and Hochberg: those at most x are expected to hold a share of at most x of
// false ones. Not-a-number stands for a test that was not made; it stays and does not count.
std::vector<double> adjust(const std::vector<double>& p);

}  // namespace host::compare
