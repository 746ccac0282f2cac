#include "host/emit/residency_table.h"

#include "host/base/text.h"

namespace host::emit {

namespace {

std::vector<std::string> cells(const ResidencyRow& row, double ticksPerUsec) {
    std::vector<std::string> texts{row.name};
    for (const std::uint64_t ticks : row.ticks)
        texts.push_back(
            base::fixedText(100.0 * static_cast<double>(ticks) / static_cast<double>(row.observed), 2));
    for (const std::uint64_t ticks : row.ticks)
        texts.push_back(base::fixedText(static_cast<double>(ticks) / ticksPerUsec / 1000.0, 2));
    return texts;
}

}  // namespace

void writeResidencyTable(Report& report, const std::string& metric, const std::string& of,
                         const std::vector<std::string>& states, const std::vector<ResidencyRow>& rows,
                         double ticksPerUsec, bool withAll) {
    std::vector<std::string> columns{of};
    for (const std::string& state : states) columns.push_back(state + " (%)");
    for (const std::string& state : states) columns.push_back(state + " (msec)");
    report.table(metric + " Summary: Residency (Percentage and Time)", columns);

    ResidencyRow all{"All", std::vector<std::uint64_t>(states.size()), 0};
    for (const ResidencyRow& row : rows) {
        if (row.observed == 0) continue;
        report.row(cells(row, ticksPerUsec));
        for (std::size_t i = 0; i < states.size(); ++i) all.ticks[i] += row.ticks[i];
        all.observed += row.observed;
    }
    if (withAll && rows.size() > 1 && all.observed > 0) report.row(cells(all, ticksPerUsec));
}

}  // namespace host::emit
