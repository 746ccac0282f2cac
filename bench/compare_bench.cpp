// Measures pwrhost compare: by simulation how often it is wrong, and what it costs.
#include <sys/types.h>
#include <unistd.h>

#include <fcntl.h>
#include <CLI/CLI.hpp>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "bench/measure.h"
#include "host/base/descriptor.h"
#include "host/base/descriptor_bytes.h"
#include "host/compare/comparison.h"
#include "host/compare/group.h"
#include "host/compare/report.h"

namespace {

namespace compare = host::compare;

constexpr std::size_t COLUMNS = 400;
constexpr double NOISE = 0.05;

bool g_isGood = true;

void judge(bool isWithin, const char* bar) {
    std::printf(" (%s: %s)\n", bar, isWithin ? "kept" : "MISSED");
    g_isGood = g_isGood && isWithin;
}

// A group of runs of COLUMNS columns with normal noise; the first `changed` columns are `factor` times as
// large.
compare::Group drawGroup(std::mt19937_64& random, std::size_t runs, std::size_t changed, double factor) {
    std::normal_distribution<double> normal(100, 100 * NOISE);
    compare::Group group;
    for (std::size_t run = 0; run < runs; ++run) {
        compare::Run& target = group.m_runs.emplace_back();
        for (std::size_t column = 0; column < COLUMNS; ++column)
            target.m_numbers.emplace_back("C" + std::to_string(column),
                                          normal(random) * (column < changed ? factor : 1));
    }
    return group;
}

compare::Comparison compareGroups(compare::Group a, compare::Group b) {
    std::array<compare::Group, 2> groups = {std::move(a), std::move(b)};
    return compare::compare(compare::RunTable(groups), {});
}

// How often anything at all is reported where nothing differs. With few runs p values have few steps, and the
// tests are wrong more rarely than they may; with many, a change is found in alpha of the comparisons, and a
// spread and a drift in a fifth of that each.
void simulateNothing(std::size_t comparisons) {
    for (const auto& [runsA, runsB] : {std::pair{6, 6}, {8, 8}, {9, 8}, {12, 12}, {25, 25}, {40, 40}}) {
        std::mt19937_64 random(1);
        std::array<std::size_t, 3> found{};
        std::size_t any = 0;
        for (std::size_t i = 0; i < comparisons; ++i) {
            const auto comparison = compareGroups(drawGroup(random, static_cast<std::size_t>(runsA), 0, 1),
                                                  drawGroup(random, static_cast<std::size_t>(runsB), 0, 1));
            const std::array<bool, 3> is = {comparison.count(compare::Verdict::Differs) > 0,
                                            comparison.count(compare::Verdict::Spread) > 0,
                                            !comparison.m_drifts.empty()};
            for (std::size_t kind = 0; kind < is.size(); ++kind) found[kind] += is[kind] ? 1 : 0;
            any += is[0] || is[1] || is[2] ? 1 : 0;
        }
        const auto percent = [&](std::size_t count) {
            return 100 * static_cast<double>(count) / static_cast<double>(comparisons);
        };
        std::printf(
            "%d + %d equal runs, %zu comparisons: %.1f %% report something; a change %.1f, a spread %.1f, "
            "a drift %.1f",
            runsA, runsB, comparisons, percent(any), percent(found[0]), percent(found[1]), percent(found[2]));
        const double chance = 300 * std::sqrt(0.05 * 0.95 / static_cast<double>(comparisons));
        if (runsA <= 9) {
            judge(percent(any) <= 5, "at most 5 %");
        } else {
            judge(percent(found[0]) <= 5 + chance, "a change in 5 %, give or take the chance of so few");
        }
    }
}

// How many true changes are found among columns that did not change.
void simulateChanges(std::size_t comparisons) {
    constexpr std::size_t CHANGED = 20;
    std::mt19937_64 random(2);
    std::size_t found = 0;
    std::size_t wrong = 0;
    for (std::size_t i = 0; i < comparisons; ++i) {
        const auto comparison = compareGroups(drawGroup(random, 8, 0, 1), drawGroup(random, 8, CHANGED, 1.2));
        for (const compare::ColumnResult& column : comparison.m_columns) {
            if (column.m_verdict != compare::Verdict::Differs) continue;
            ++(column.m_column < CHANGED ? found : wrong);
        }
    }
    const double share = static_cast<double>(found) / static_cast<double>(comparisons * CHANGED);
    std::printf(
        "8 + 8 runs, +20 %% in %zu of %zu columns: %.1f %% of the changes found, %.1f %% of what is reported "
        "is wrong",
        CHANGED, COLUMNS, 100 * share, 100 * static_cast<double>(wrong) / static_cast<double>(found + wrong));
    judge(share >= 0.95, "19 of 20");
}

void writeRuns(const char* path, std::size_t runs, std::size_t columns, int decimals, unsigned seed) {
    std::mt19937_64 random(seed);
    std::normal_distribution<double> normal(100, 100 * NOISE);
    std::FILE* const file = std::fopen(path, "w");
    if (file == nullptr) std::exit(1);
    std::fprintf(file, "Output_Name,Collection_Time,Duration (sec),");
    for (std::size_t i = 0; i < columns; ++i)
        std::fprintf(file, "Power Domain Energy Summary: Average Rate and Total_Domain_%zu_Rate (W),", i);
    for (std::size_t run = 0; run < runs; ++run) {
        std::fprintf(file, "\nrun%zu,2024-05-01 10:%02zu:%02zu,5.0%02zu,", run, run / 60, run % 60, run % 17);
        for (std::size_t i = 0; i < columns; ++i) std::fprintf(file, "%.*f,", decimals, normal(random));
    }
    std::fprintf(file, "\n");
    std::fclose(file);
}

bool readFile(const compare::Argument& argument, compare::Group& group, std::string& error) {
    const host::base::Descriptor file(open(argument.m_path.c_str(), O_RDONLY | O_CLOEXEC));
    host::base::DescriptorBytes bytes(file.get());
    return compare::readContent(bytes, argument, group, error);
}

// Measures reading, comparing and writing all columns. Files are made before.
void measureComparison(std::size_t runs, std::size_t columns, int decimals, double seconds,
                       double mebibytes) {
    const std::string name = std::to_string(runs) + " + " + std::to_string(runs) + " runs, " +
                             std::to_string(columns) + " columns, " + std::to_string(decimals) + " decimals";
    const bench::Cost cost = bench::measureInChild(name, [&](bench::Cost& spent) {
        writeRuns("a.csv", runs, columns, decimals, 3);
        writeRuns("b.csv", runs, columns, decimals, 4);
        const double start = bench::cpuNs();
        std::array<compare::Group, 2> groups;
        std::string error;
        if (!compare::readGroup({"a.csv"}, readFile, groups[0], error) ||
            !compare::readGroup({"b.csv"}, readFile, groups[1], error))
            std::exit(1);
        const compare::RunTable table(groups);
        std::ofstream out("result.json");
        writeReport(compare::Format::Json, table, compare::compare(table, {}), std::nullopt, out);
        spent.ingestNs = bench::cpuNs() - start;
    });
    std::printf("%s: %.2f s, %.0f MiB", name.c_str(), cost.ingestNs * 1e-9, cost.peakBytes / (1 << 20));
    judge(cost.ingestNs * 1e-9 <= seconds && cost.peakBytes / (1 << 20) <= mebibytes, "bar");
}

// Measures how files of so many bytes that cannot be used are refused.
void measureBadInput(std::size_t bytes) {
    const std::string head = "Output_Name,Collection_Time,Duration (sec),a,\n";
    const struct {
        const char* m_what;
        std::string m_begin;
        std::string m_repeated;
    } cases[] = {
        {"values before any header", "", "run,time,1,2,\n"},
        {"headers without values", "", head},
        {"one line without end", "", "x,"},
        {"a header without end", "Output_Name,", "x,"},
        {"too many runs", head, "run,time,1,2,\n"},
        {"lines with other fields", head, "x\n"},
        {"blank lines", "", "\n"},
        {"no bytes of a text", "", std::string(64, '\0')},
    };
    for (const auto& bad : cases) {
        const bench::Cost cost = bench::measureInChild(bad.m_what, [&](bench::Cost& spent) {
            std::ofstream file("bad.csv");
            file << bad.m_begin;
            for (std::size_t size = 0; size < bytes; size += bad.m_repeated.size()) file << bad.m_repeated;
            file.close();
            const double start = bench::cpuNs();
            compare::Group group;
            std::string error;
            if (compare::readGroup({"bad.csv"}, readFile, group, error)) std::exit(1);
            spent.ingestNs = bench::cpuNs() - start;
        });
        std::printf("%zu MB, %s: %.2f s, %.0f MiB", bytes / 1'000'000, bad.m_what, cost.ingestNs * 1e-9,
                    cost.peakBytes / (1 << 20));
        judge(cost.ingestNs * 1e-9 <= 5 && cost.peakBytes / (1 << 20) <= 300, "bar");
    }
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App program("Measures pwrhost compare against its bars");
    std::size_t comparisons = 500;
    bool isSmoke = false;
    program.add_option("--comparisons", comparisons, "Simulated comparisons of each kind");
    program.add_flag("--smoke", isSmoke, "Small sizes: whether it runs, and is right, not how fast");
    CLI11_PARSE(program, argc, argv);
    if (isSmoke) comparisons = 100;
    simulateNothing(comparisons);
    simulateChanges(comparisons / 10);
    const std::size_t columns = isSmoke ? 100 : 10000;
    measureComparison(25, columns, 0, 10, 200);
    measureComparison(50, columns, 2, 1, 200);
    measureComparison(50, columns, 1, 1, 200);
    measureBadInput(isSmoke ? 1'000'000 : 100'000'000);
    return g_isGood ? 0 : 1;
}
