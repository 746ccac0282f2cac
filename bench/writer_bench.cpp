// Measures what every writer costs per element, against the floor of its kind of result.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "bench/floors.h"
#include "bench/json_emission.h"
#include "bench/measure.h"
#include "bench/plugin_library.h"
#include "bench/row_store.h"
#include "bench/work.h"
#include "host/model/environment.h"
#include "host/model/loggers.h"

namespace {

using bench::Cost;
using bench::Spread;

struct Options {
    bench::WorkSize size;
    unsigned rounds = 7;
    std::vector<std::string> writers;
    std::vector<std::string> libraries;
};

// A row of the budget: what a path may cost, in units of its floor.
struct Budget {
    const char* name;
    const char* floor;
    double atMost;
    double aim;
};

const Budget BUDGETS[] = {
    {"bin", "F1", 1.5, 0.6},         {"vyrta", "F1", 3.0, 1.2},
    {"json", "F3", 1.5, 0.83},       {"row-store", "F2", 1.0, 0.3},
    {"int", "F2", 2.5, 1.2},         {"raw", "F2", 2.5, 1.2},
    {"phm-csv", "F2", 2.5, 1.2},     {"json-emission", "F3", 1.25, 1.0},
    {"long", "F2", 4.0, 2.0},        {"perfetto", "F1", 3.0, 1.2},
    {"openmetrics", "F2", 6.0, 3.0},
};

// Parts of writers, which are fed with plain numbers and read no elements.
using PartRunner = void (*)(const bench::PlainElements&, Cost&);
const std::map<std::string, PartRunner> PARTS = {
    {"row-store", bench::runRowStore},
    {"json-emission", bench::runJsonEmission},
};

// The floors, by name.
using Floor = std::size_t (*)(const bench::PlainElements&);
const std::map<std::string, Floor> FLOORS = {
    {"F1", [](const bench::PlainElements& elements) { return bench::packedRecords(elements, "floor"); }},
    {"F2", bench::paddedCells},
    {"F3", bench::jsonPoints},
};

// What a path cost in one round, and what it is compared with, from right before and right after it: the
// speed of a machine that others use as well changes from second to second.
struct Sample {
    Cost path;
    Cost reading;  // nothing for a part, which reads no elements
    Cost floors[2];

    double transfersNs = 0;  // nothing for a part

    // Of what the path has written, that which is not its result. Paths that keep all in memory spool
    // nothing.
    double spooled() const { return path.spools > 0 ? std::max(0.0, path.written - path.bytes) : 0; }

    double netNs() const { return path.totalNs() - reading.totalNs(); }
    double floorNs() const { return (floors[0].ingestNs + floors[1].ingestNs) / 2; }
};

class Bench {
public:
    Bench(const Options& options, bench::Work& work, const bench::PluginLibraries& library)
        : m_options(options), m_work(work), m_library(library), m_plain(work.elements()) {}

    void run();
    void report() const;

private:
    // One path in all rounds.
    struct Row {
        Budget budget;
        std::vector<Sample> samples;
    };

    bool isChosen_i(const std::string& name) const {
        if (m_options.writers.empty()) return true;
        return std::find(m_options.writers.begin(), m_options.writers.end(), name) != m_options.writers.end();
    }
    Sample measure_i(const Budget& budget);
    Cost measureFloor_i(const std::string& name);
    Spread spreadOf_i(const std::vector<double>& totals) const;
    void reportFloor_i(const std::string& name) const;
    void reportReading_i() const;
    void reportRow_i(const Row& row) const;
    void reportTransfers_i(const Row& row) const;
    static Spread ratioOf_i(const Row& row);

    const Options& m_options;
    bench::Work& m_work;
    const bench::PluginLibraries& m_library;
    bench::PlainElements m_plain;
    std::vector<Row> m_rows;
};

void Bench::run() {
    for (const Budget& budget : BUDGETS)
        if (isChosen_i(budget.name)) m_rows.push_back({budget, {}});
    for (unsigned round = 0; round < m_options.rounds; ++round) {
        std::fprintf(stderr, "round %u of %u\n", round + 1, m_options.rounds);
        for (Row& row : m_rows) row.samples.push_back(measure_i(row.budget));
    }
}

Sample Bench::measure_i(const Budget& budget) {
    Sample sample;
    sample.floors[0] = measureFloor_i(budget.floor);
    if (const auto part = PARTS.find(budget.name); part != PARTS.end()) {
        sample.path = bench::measureInChild(budget.name, [&](Cost& cost) { part->second(m_plain, cost); });
    } else {
        sample.reading = bench::measureInChild("reader", [&](Cost& cost) {
            bench::ReadingWriter reader;
            bench::runWriter(reader, m_work, cost);
        });
        sample.path = bench::measureInChild(
            budget.name, [&](Cost& cost) { bench::runWriter(m_library.writer(budget.name), m_work, cost); });
        const Cost transfers = bench::measureInChild("L", [&](Cost& cost) {
            cost.ingestNs = bench::transfers(sample.spooled(), sample.path.spools, sample.path.bytes);
        });
        sample.transfersNs = transfers.ingestNs;
    }
    sample.floors[1] = measureFloor_i(budget.floor);
    return sample;
}

Cost Bench::measureFloor_i(const std::string& name) {
    return bench::measureInChild(name, [&](Cost& cost) {
        const double start = bench::cpuNs();
        const std::size_t bytes = FLOORS.at(name)(m_plain);
        cost.ingestNs = bench::cpuNs() - start;
        if (bytes == 0) std::_Exit(1);
    });
}

// Totals of runs, per element.
Spread Bench::spreadOf_i(const std::vector<double>& totals) const {
    const Spread spread = bench::spreadOf(totals);
    const auto elements = static_cast<double>(m_work.elements());
    return {spread.median / elements, spread.min / elements, spread.max / elements};
}

Spread Bench::ratioOf_i(const Row& row) {
    std::vector<double> ratios;
    for (const Sample& sample : row.samples) ratios.push_back(sample.netNs() / sample.floorNs());
    return bench::spreadOf(ratios);
}

void Bench::reportFloor_i(const std::string& name) const {
    std::vector<double> totals;
    for (const Row& row : m_rows) {
        if (row.budget.floor != name) continue;
        for (const Sample& sample : row.samples)
            for (const Cost& floor : sample.floors) totals.push_back(floor.ingestNs);
    }
    if (totals.empty()) return;
    const Spread ns = spreadOf_i(totals);
    std::printf("%-13s %7.1f ns per element (%.1f to %.1f)\n", name.c_str(), ns.median, ns.min, ns.max);
}

void Bench::reportReading_i() const {
    std::vector<double> totals;
    for (const Row& row : m_rows)
        for (const Sample& sample : row.samples)
            if (PARTS.count(row.budget.name) == 0) totals.push_back(sample.reading.ingestNs);
    if (totals.empty()) return;
    const Spread ns = spreadOf_i(totals);
    std::printf("%-13s %7.1f ns per element (%.1f to %.1f)\n", "reader", ns.median, ns.min, ns.max);
}

void Bench::reportRow_i(const Row& row) const {
    std::vector<double> ingest;
    std::vector<double> fini;
    std::vector<double> bytes;
    std::vector<double> peaks;
    for (const Sample& sample : row.samples) {
        ingest.push_back(sample.path.ingestNs);
        fini.push_back(sample.path.finiNs);
        bytes.push_back(sample.path.bytes);
        peaks.push_back(sample.path.peakBytes);
    }
    const Spread ratio = ratioOf_i(row);
    std::printf("%-13s %8.1f %8.1f %8.1f %10.1f   %.2f x %s (%.2f to %.2f), at most %.2f, aim %.2f\n",
                row.budget.name, spreadOf_i(ingest).median, spreadOf_i(fini).median, spreadOf_i(bytes).median,
                bench::spreadOf(peaks).median / (1 << 20), ratio.median, row.budget.floor, ratio.min,
                ratio.max, row.budget.atMost, row.budget.aim);
}

void Bench::reportTransfers_i(const Row& row) const {
    if (PARTS.count(row.budget.name) != 0) return;
    std::vector<double> transfers;
    std::vector<double> spooled;
    std::vector<double> ratios;
    for (const Sample& sample : row.samples) {
        transfers.push_back(sample.transfersNs);
        spooled.push_back(sample.spooled());
        ratios.push_back(sample.netNs() / sample.transfersNs);
    }
    const Spread ratio = bench::spreadOf(ratios);
    std::printf("%-13s %8.1f %8.1f %8.0f   %.2f x L (%.2f to %.2f)\n", row.budget.name,
                spreadOf_i(transfers).median, spreadOf_i(spooled).median, row.samples.front().path.spools,
                ratio.median, ratio.min, ratio.max);
}

void Bench::report() const {
    std::printf("%zu elements in %zu messages, %u rounds, CPU time (user and system) in ns per element\n",
                m_work.elements(), m_work.messages(), m_options.rounds);
    for (const auto& [name, floor] : FLOORS) reportFloor_i(name);
    reportReading_i();
    std::printf("%-13s %8s %8s %8s %10s   ratio to the floor, reading subtracted\n", "", "ingest", "fini",
                "bytes", "peak MiB");
    for (const Row& row : m_rows) reportRow_i(row);
    std::printf("%-13s %8s %8s %8s   ratio to L, which writes and reads the same bytes, reading subtracted\n",
                "", "L", "spooled", "spools");
    for (const Row& row : m_rows) reportTransfers_i(row);
    for (const Row& row : m_rows) {
        const Spread ratio = ratioOf_i(row);
        std::printf("ratio,%s,%.3f,%.3f,%.3f,%.2f,%.2f\n", row.budget.name, ratio.median, ratio.min,
                    ratio.max, row.budget.atMost, row.budget.aim);
    }
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    options.libraries = bench::builtLibraries();
    CLI::App app("Measures the writers against their floors, each run in a process of its own.");
    app.add_option("--elements", options.size.elements, "elements of a run, at least")->capture_default_str();
    app.add_option("--entities", options.size.entities, "entities of each sampled metric")
        ->capture_default_str();
    app.add_option("--metrics", options.size.metricsOfAKind, "metrics of each kind")->capture_default_str();
    app.add_option("--events", options.size.distinctEvents, "distinct traced events")->capture_default_str();
    app.add_option("--rounds", options.rounds, "rounds, in each of which everything runs once")
        ->capture_default_str()
        ->check(CLI::Range(1, 1000));
    app.add_option("--writers", options.writers, "only these rows of the budget")->delimiter(',');
    app.add_option("--plugins", options.libraries, "the plug-in libraries")->capture_default_str();
    int logLevel = 1;
    app.add_option("--log-level", logLevel, "which lines of the writers are shown")->capture_default_str();
    CLI11_PARSE(app, argc, argv);

    host::model::DescriptorLogger log(2);
    host::model::Environment environment(log, log);
    environment.m_logLevel = logLevel;
    const bench::PluginLibraries library(options.libraries);
    bench::Work work(options.size);
    Bench bench(options, work, library);
    bench.run();
    bench.report();
    return 0;
}
