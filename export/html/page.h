#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "export/html/lane.h"
#include "export/html/summary_tables.h"
#include "export/result_file.h"
#include "pwr/system_metadata.h"

namespace exporting {

// What a page is made of.
struct PageContent {
    const std::string& name;  // of the run
    const pwr::SystemMetadata& system;
    std::deque<Lane>& lanes;  // their series are put in order of time
    const SummaryTables& tables;
    const std::vector<std::string>& notes;
    std::uint64_t refused;  // elements that could not be placed in time
    bool isReduced;
    unsigned shift;  // of the grid's intervals, 2^shift ticks, if the page is reduced
};

// Appends the whole page. Throws std::bad_alloc.
void appendPage(ResultFile& page, const PageContent& content);

}  // namespace exporting
