// The table of the report that says how long things were in which state.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/emit/report.h"

namespace host::emit {

struct ResidencyRow {
    std::string name;
    std::vector<std::uint64_t> ticks;  // in each state
    std::uint64_t observed = 0;        // ticks in all, the 100 %
};

// Writes a row for each thing and, unless `withAll` is false, one for all of them together: for each state
// the share and the time. A thing that was never observed has no row. `of` titles the things, as "CPU".
void writeResidencyTable(Report& report, const std::string& metric, const std::string& of,
                         const std::vector<std::string>& states, const std::vector<ResidencyRow>& rows,
                         double ticksPerUsec, bool withAll = true);

}  // namespace host::emit
