#include "host/compare/adjustment.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace host::compare {

std::vector<double> adjust(const std::vector<double>& p) {
    std::vector<std::size_t> order;
    for (std::size_t i = 0; i < p.size(); ++i)
        if (!std::isnan(p[i])) order.push_back(i);
    std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return p[a] < p[b]; });
    std::vector<double> adjusted = p;
    const auto tests = static_cast<double>(order.size());
    double least = 1;
    for (std::size_t place = order.size(); place > 0; --place) {
        least = std::min(least, tests / static_cast<double>(place) * p[order[place - 1]]);
        adjusted[order[place - 1]] = least;
    }
    return adjusted;
}

}  // namespace host::compare
