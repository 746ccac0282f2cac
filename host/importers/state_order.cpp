#include "host/importers/state_order.h"

#include <algorithm>
#include <numeric>

#include "json/state_sort.h"

namespace host::importers {

// How far names are compared depends on which of them comes first.
std::vector<std::size_t> orderOfStates(const std::vector<std::string>& states) {
    constexpr std::size_t MOST_TRIALS = 64;
    std::vector<std::size_t> order(states.size());
    for (std::size_t first = 0; first < std::min(states.size(), MOST_TRIALS); ++first) {
        std::iota(order.begin(), order.end(), std::size_t{0});
        std::rotate(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(first),
                    order.begin() + static_cast<std::ptrdiff_t>(first + 1));
        std::vector<std::string> sorted;
        sorted.reserve(order.size());
        for (const std::size_t index : order) sorted.push_back(states[index]);
        sortStates(sorted);
        if (sorted == states) return order;
    }
    std::iota(order.begin(), order.end(), std::size_t{0});
    return order;
}

}  // namespace host::importers
