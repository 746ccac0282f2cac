// Measures what every writer costs per element, against the floor of its kind of result.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <functional>
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
    std::string library;
};

// A row of the budget: what a path may cost, in units of its floor.
struct Budget {
    const char* name;
    const char* floor;
    double atMost;
    double aim;
};

const Budget BUDGETS[] = {
    {"bin", "F1", 1.5, 0.6},     {"vyrta", "F1", 3.0, 1.2},
    {"json", "F3", 1.5, 0.83},   {"row-store", "F2", 1.0, 0.3},
    {"int", "F2", 2.5, 1.2},     {"raw", "F2", 2.5, 1.2},
    {"phm-csv", "F2", 2.5, 1.2}, {"json-emission", "F3", 1.25, 1.0},
};

// Parts of writers, which are fed with plain numbers and read no elements.
using PartRunner = void (*)(const bench::PlainElements&, Cost&);
const std::map<std::string, PartRunner> PARTS = {
    {"row-store", bench::runRowStore},
    {"json-emission", bench::runJsonEmission},
};

const std::string READER = "reader";

// Everything that is run in a round, by name, with the number of units that its cost is divided by.
class Bench {
public:
    Bench(const Options& options, bench::Work& work, const bench::PluginLibrary& library)
        : m_options(options), m_work(work), m_library(library), m_plain(work.elements()) {}

    void run();
    void report() const;

private:
    struct Item {
        std::string name;
        double units;
        std::function<void(Cost&)> run;
    };

    bool isChosen_i(const std::string& name) const {
        if (m_options.writers.empty()) return true;
        return std::find(m_options.writers.begin(), m_options.writers.end(), name) != m_options.writers.end();
    }
    std::vector<Item> items_i();
    Item floor_i(const std::string& name, std::function<std::size_t()> run);
    Item part_i(const std::string& name, PartRunner runPart);
    Item writer_i(const std::string& name);
    Item reader_i();
    std::vector<double> perUnit_i(const std::string& name, double Cost::*figure) const;
    std::vector<double> netPerUnit_i(const Budget& budget) const;
    void reportFloors_i() const;
    void reportWriter_i(const Budget& budget) const;
    void reportRatio_i(const Budget& budget) const;
    Spread ratio_i(const Budget& budget) const;

    const Options& m_options;
    bench::Work& m_work;
    const bench::PluginLibrary& m_library;
    bench::PlainElements m_plain;
    std::map<std::string, std::vector<Cost>> m_costs;
    std::map<std::string, double> m_units;
};

Bench::Item Bench::floor_i(const std::string& name, std::function<std::size_t()> run) {
    return {name, static_cast<double>(m_plain.size()), [run = std::move(run)](Cost& cost) {
                const double start = bench::cpuNs();
                const std::size_t bytes = run();
                cost.ingestNs = bench::cpuNs() - start;
                if (bytes == 0) std::_Exit(1);
            }};
}

Bench::Item Bench::part_i(const std::string& name, PartRunner runPart) {
    return {name, static_cast<double>(m_plain.size()),
            [this, runPart](Cost& cost) { runPart(m_plain, cost); }};
}

Bench::Item Bench::writer_i(const std::string& name) {
    return {name, static_cast<double>(m_work.elements()),
            [this, name](Cost& cost) { bench::runWriter(m_library.writer(name), m_work, cost); }};
}

Bench::Item Bench::reader_i() {
    return {READER, static_cast<double>(m_work.elements()), [this](Cost& cost) {
                bench::ReadingWriter reader;
                bench::runWriter(reader, m_work, cost);
            }};
}

std::vector<Bench::Item> Bench::items_i() {
    std::vector<Item> items{
        floor_i("F1", [this] { return bench::packedRecords(m_plain, "floor"); }),
        floor_i("F2", [this] { return bench::paddedCells(m_plain); }),
        floor_i("F3", [this] { return bench::jsonPoints(m_plain); }),
        reader_i(),
    };
    for (const Budget& budget : BUDGETS) {
        if (!isChosen_i(budget.name)) continue;
        const auto part = PARTS.find(budget.name);
        items.push_back(part != PARTS.end() ? part_i(part->first, part->second) : writer_i(budget.name));
    }
    return items;
}

void Bench::run() {
    const std::vector<Item> items = items_i();
    for (const Item& item : items) m_units[item.name] = item.units;
    for (unsigned round = 0; round < m_options.rounds; ++round) {
        std::fprintf(stderr, "round %u of %u\n", round + 1, m_options.rounds);
        for (const Item& item : items)
            m_costs[item.name].push_back(bench::measureInChild(item.name, item.run));
    }
}

std::vector<double> Bench::perUnit_i(const std::string& name, double Cost::*figure) const {
    std::vector<double> result;
    for (const Cost& cost : m_costs.at(name)) result.push_back(cost.*figure / m_units.at(name));
    return result;
}

// What a path costs per unit in each round, less what reading alone costs.
std::vector<double> Bench::netPerUnit_i(const Budget& budget) const {
    const std::vector<Cost>& costs = m_costs.at(budget.name);
    const std::vector<Cost>& reads = m_costs.at(READER);
    const bool reads_elements = PARTS.count(budget.name) == 0;
    std::vector<double> result;
    for (std::size_t i = 0; i < costs.size(); ++i)
        result.push_back((costs[i].totalNs() - (reads_elements ? reads[i].totalNs() : 0)) /
                         m_units.at(budget.name));
    return result;
}

Spread Bench::ratio_i(const Budget& budget) const {
    const std::vector<double> floor = perUnit_i(budget.floor, &Cost::ingestNs);
    std::vector<double> ratios = netPerUnit_i(budget);
    for (std::size_t i = 0; i < ratios.size(); ++i) ratios[i] /= floor[i];
    return bench::spreadOf(ratios);
}

void Bench::reportFloors_i() const {
    for (const std::string name : {"F1", "F2", "F3", "reader"}) {
        const Spread ns = bench::spreadOf(perUnit_i(name, &Cost::ingestNs));
        std::printf("%-13s %7.1f ns per element (%.1f to %.1f)\n", name.c_str(), ns.median, ns.min, ns.max);
    }
}

void Bench::reportWriter_i(const Budget& budget) const {
    const Spread ingest = bench::spreadOf(perUnit_i(budget.name, &Cost::ingestNs));
    const Spread fini = bench::spreadOf(perUnit_i(budget.name, &Cost::finiNs));
    const Spread bytes = bench::spreadOf(perUnit_i(budget.name, &Cost::bytes));
    std::vector<double> peaks;
    for (const Cost& cost : m_costs.at(budget.name)) peaks.push_back(cost.peakBytes);
    const Spread ratio = ratio_i(budget);
    std::printf("%-13s %8.1f %8.1f %8.1f %10.1f   %.2f x %s (%.2f to %.2f), at most %.2f, aim %.2f\n",
                budget.name, ingest.median, fini.median, bytes.median,
                bench::spreadOf(peaks).median / (1 << 20), ratio.median, budget.floor, ratio.min, ratio.max,
                budget.atMost, budget.aim);
}

void Bench::reportRatio_i(const Budget& budget) const {
    const Spread ratio = ratio_i(budget);
    std::printf("ratio,%s,%.3f,%.3f,%.3f,%.2f,%.2f\n", budget.name, ratio.median, ratio.min, ratio.max,
                budget.atMost, budget.aim);
}

void Bench::report() const {
    std::printf("%zu elements in %zu messages, %u rounds, CPU time (user and system) in ns per element\n",
                m_work.elements(), m_work.messages(), m_options.rounds);
    reportFloors_i();
    std::printf("%-13s %8s %8s %8s %10s   ratio to the floor, reading subtracted\n", "", "ingest", "fini",
                "bytes", "peak MiB");
    for (const Budget& budget : BUDGETS)
        if (m_costs.count(budget.name) != 0) reportWriter_i(budget);
    for (const Budget& budget : BUDGETS)
        if (m_costs.count(budget.name) != 0) reportRatio_i(budget);
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    options.library = bench::builtLibrary();
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
    app.add_option("--plugins", options.library, "the writer library")->capture_default_str();
    int logLevel = 1;
    app.add_option("--log-level", logLevel, "which lines of the writers are shown")->capture_default_str();
    CLI11_PARSE(app, argc, argv);

    host::model::DescriptorLogger log(2);
    host::model::Environment environment(log, log);
    environment.m_logLevel = logLevel;
    const bench::PluginLibrary library(options.library);
    bench::Work work(options.size);
    Bench bench(options, work, library);
    bench.run();
    bench.report();
    return 0;
}
