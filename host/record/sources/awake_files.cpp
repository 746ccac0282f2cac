#include "host/record/sources/awake_files.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "host/base/text.h"

namespace host::record {

namespace {

constexpr std::size_t NOWHERE = std::string_view::npos;

// The number after `key`; "0" if there is none.
std::string numberAfter(std::string_view line, std::string_view key) {
    const std::size_t at = line.find(key);
    std::uint64_t number = 0;
    if (at != NOWHERE) {
        line.remove_prefix(at + key.size());
        base::takeUnsigned(line, number);
    }
    return std::to_string(number);
}

// The cells of a line between bars; the last bar ends the last cell.
std::vector<std::string> cellsOf(std::string_view line) {
    std::vector<std::string> cells;
    for (std::size_t bar = 0; (bar = line.find('|')) != NOWHERE; line.remove_prefix(bar + 1))
        cells.emplace_back(base::trimmed(line.substr(0, bar)));
    if (const std::string_view rest = base::trimmed(line); !rest.empty()) cells.emplace_back(rest);
    return cells;
}

}  // namespace

std::vector<AwakeRow> readPackageCounters(std::string_view text) {
    std::vector<AwakeRow> rows;
    for (std::string_view line; base::takeLine(text, line);) {
        const std::size_t colon = line.rfind(':');
        if (colon == NOWHERE) continue;
        const std::string_view value = base::trimmed(line.substr(colon + 1));
        if (!value.empty())
            rows.push_back({{std::string(base::trimmed(line.substr(0, colon)))}, {std::string(value)}});
    }
    return rows;
}

std::vector<AwakeRow> readLatencyTolerance(std::string_view text) {
    std::vector<AwakeRow> rows;
    for (std::string_view line; base::takeLine(text, line);) {
        const std::size_t begin = line.find("LTR:");
        if (begin == NOWHERE) continue;
        // "Snoop" is the end of "Non-Snoop", too.
        const std::size_t snoop = line.rfind("Snoop(ns):");
        std::vector<std::string> values{numberAfter(line, "Non-Snoop(ns):"),
                                        numberAfter(line.substr(std::min(snoop, line.size())), "Snoop(ns):")};
        if (values[0] == "0" && values[1] == "0") continue;
        rows.push_back({{std::string(base::trimmed(line.substr(0, begin)))}, std::move(values)});
    }
    return rows;
}

SubstateRequirements readSubstateRequirements(std::string_view text) {
    SubstateRequirements found;
    std::size_t columns = 0;
    for (std::string_view line; base::takeLine(text, line);) {
        std::vector<std::string> cells = cellsOf(line);
        if (cells.size() < 3) continue;
        if (cells[0] == "Element") {
            // The first column that is no substate is what is the case now.
            const auto status = std::find_if(cells.begin() + 1, cells.end(), [](const std::string& cell) {
                return cell.find("Status") != std::string::npos;
            });
            found.substates.assign(cells.begin() + 1, status);
            columns = found.substates.size();
            continue;
        }
        if (columns == 0 || cells.size() < columns + 2) continue;
        const auto end = cells.begin() + 1 + static_cast<std::ptrdiff_t>(columns);
        if (std::all_of(cells.begin() + 1, end, [](const std::string& cell) { return cell.empty(); }))
            continue;
        std::string status = end->empty() ? "No" : *end;
        found.rows.push_back({{cells.begin(), end}, {std::move(status)}});
        for (std::string& cell : found.rows.back().keys)
            if (cell.empty()) cell = "-";
    }
    return found;
}

std::string_view chosenOf(std::string_view text) {
    const std::size_t open = text.find('[');
    const std::size_t close = text.find(']', open == NOWHERE ? 0 : open);
    return close == NOWHERE || open == NOWHERE ? base::trimmed(text)
                                               : text.substr(open + 1, close - open - 1);
}

std::string readLatencyLimit(std::string_view bytes) {
    constexpr std::int32_t NONE = 2'000'000'000;
    std::int32_t limit = 0;
    std::string_view text = bytes;
    std::uint64_t number = 0;
    if (bytes.size() == sizeof limit)
        std::memcpy(&limit, bytes.data(), sizeof limit);
    else if (base::takeUnsigned(text, number))
        limit = static_cast<std::int32_t>(std::min<std::uint64_t>(number, NONE));
    else
        return {};
    return limit >= NONE ? "none" : std::to_string(limit);
}

}  // namespace host::record
