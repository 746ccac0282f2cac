// Counts the allocations of this program and makes one of them fail.
#pragma once

#include <cstddef>

namespace allocation_faults {

// The number of allocations so far.
std::size_t count();

// Makes the allocation after the next `successes` ones fail, once.
void failAfter(std::size_t successes);

// Lets all allocations succeed, and returns true if one has failed since failAfter.
bool stop();

}  // namespace allocation_faults
