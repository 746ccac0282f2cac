#include "host/record/list_sources.h"

#include <glob.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>

#include "host/base/complain.h"
#include "host/base/exit_status.h"
#include "host/record/part.h"
#include "host/record/system_clock.h"

namespace host::record {

namespace {

constexpr std::size_t COLUMNS = 6;
using Row = std::array<std::string, COLUMNS>;

// Number of entities of each metric that is there.
using Found = std::map<std::string, std::size_t>;

// A clock that stands still: nothing is sampled.
class NoClock : public Clock {
public:
    std::uint64_t ticks() override { return 1; }
    double ticksPerUsec() const override { return 1.0; }
    std::int64_t wallNanoseconds() override { return 0; }
    bool waitUntil(std::uint64_t) override { return false; }
    std::string interruption() const override { return {}; }
    std::uint64_t cpuUsec() override { return 0; }
};

Found findMetrics(const RecordOptions& options, const Root& root) {
    RecordOptions everything = options;
    everything.selection = Selection();
    NoClock clock;
    const OwnState own;
    Part part(
        everything, root, clock, own, [](const std::string&) {}, true);
    part.prepare();
    const auto& metrics = part.definitions().metrics();
    return {metrics.begin(), metrics.end()};
}

// Why none of the files gives anything.
std::string reasonOf(const MetricInfo& metric, const Root& root) {
    std::string reason = "no such file";
    for (const char* pattern : metric.files) {
        std::string path = pattern;
        for (std::size_t at; (at = path.find("**")) != std::string::npos;) path.replace(at, 2, "*");
        glob_t found{};
        if (::glob((root.path() + "/" + path).c_str(), 0, nullptr, &found) == 0) {
            errno = 0;
            const base::Descriptor file =
                root.open(std::string(found.gl_pathv[0]).substr(root.path().size() + 1));
            reason = file.isOpen() ? "nothing usable in its files" : std::strerror(errno);
        }
        ::globfree(&found);
    }
    return reason;
}

std::string joined(const std::vector<const char*>& files) {
    std::string all;
    for (const char* file : files) all += (all.empty() ? "" : " ") + std::string(file);
    return all.empty() ? "-" : all;
}

std::vector<Row> makeRows(const RecordOptions& options, const Root& root) {
    const Found found = findMetrics(options, root);
    std::vector<Row> rows{{"SOURCE", "METRIC", "UNITS", "ENTITIES", "STATE", "FILES"}};
    for (const SourceInfo& source : sourceTable()) {
        for (const MetricInfo& metric : source.metrics) {
            const auto entry = found.find(metric.name);
            const bool isOn =
                options.selection.wantsSource(source.name) && options.selection.wantsMetric(metric.name);
            const std::string state = entry == found.end() ? "absent: " + reasonOf(metric, root)
                                      : isOn               ? "on"
                                                           : "off";
            rows.push_back({source.name, metric.name, *metric.units == 0 ? "-" : metric.units,
                            entry == found.end() ? "0" : std::to_string(entry->second), state,
                            joined(metric.files)});
        }
    }
    std::stable_sort(rows.begin() + 1, rows.end(), [](const Row& a, const Row& b) { return a[0] < b[0]; });
    return rows;
}

}  // namespace

int listSources(const RecordOptions& options) {
    const Root root(options.root);
    if (!root.isOpen()) {
        base::complain("Unable to open " + options.root + ": " + std::strerror(errno));
        return base::EXIT_ERROR;
    }
    const std::vector<Row> rows = makeRows(options, root);
    std::array<std::size_t, COLUMNS> widths{};
    for (const Row& row : rows)
        for (std::size_t i = 0; i < COLUMNS; ++i) widths[i] = std::max(widths[i], row[i].size());
    for (const Row& row : rows) {
        std::string line;
        for (std::size_t i = 0; i + 1 < COLUMNS; ++i)
            line.append(row[i]).append(widths[i] - row[i].size() + 2, ' ');
        line.append(row.back()).push_back('\n');
        std::fputs(line.c_str(), stdout);
    }
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return base::EXIT_GOOD;
    base::complain(std::string("cannot write the list: ") + std::strerror(errno));
    return base::EXIT_ERROR;
}

}  // namespace host::record
