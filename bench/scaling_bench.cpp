// Measures how the cost of an element changes when a run gets longer or wider.
#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bench/measure.h"
#include "bench/plugin_library.h"
#include "bench/work.h"
#include "host/model/environment.h"
#include "host/model/loggers.h"

namespace {

using bench::Cost;
using bench::Spread;

// A run that is compared with another one.
struct Case {
    std::string name;
    bench::WorkSize usual;
    bench::WorkSize size;
    double atMost;  // times the usual cost of an element
    std::vector<std::string> writers;
};

const std::vector<std::string> WRITERS = {"bin", "vyrta", "json", "int", "raw", "phm-csv"};
const std::string READER = "reader";

bench::WorkSize sizeOf(std::size_t elements) {
    bench::WorkSize size;
    size.elements = elements;
    return size;
}

// How many files this process may have open at most.
std::size_t raiseFileLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return 0;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    return limit.rlim_cur;
}

// The trace CSV keeps a file open for each table: with two metrics of a kind, this many per entity.
constexpr std::size_t TABLES_PER_ENTITY = 12;
constexpr std::size_t OTHER_FILES = 100;

// `scale` makes all of them smaller.
std::vector<Case> casesOf(std::size_t scale) {
    const bench::WorkSize usual = sizeOf(1000000 / scale);
    const bench::WorkSize longer = sizeOf(10000000 / scale);
    const bench::WorkSize narrow = sizeOf(5000000 / scale);
    bench::WorkSize entities = narrow;
    entities.entities = 10000 / scale;
    entities.ticks = 4;
    bench::WorkSize metrics = narrow;
    metrics.metricsOfAKind = 250 / scale;
    metrics.ticks = 16;
    bench::WorkSize metricTables = metrics;
    metricTables.entities = 8;
    bench::WorkSize strings = narrow;
    strings.metricsOfAKind = 1;
    strings.entities = 100000 / scale;
    strings.ticks = 1;
    bench::WorkSize tables = entities;
    tables.entities = std::min(entities.entities, (raiseFileLimit() - OTHER_FILES) / TABLES_PER_ENTITY);
    // A sample of the import format has no room for so many.
    bench::WorkSize parted = entities;
    parted.perMessage = narrow.entities;
    return {
        {"10,000,000 elements", usual, longer, 1.05, WRITERS},
        {"10,000 entities", narrow, entities, 2.0, {"bin", "json", "raw", "phm-csv"}},
        {std::to_string(tables.entities) + " entities with a file for each table",
         narrow,
         tables,
         2.0,
         {"int"}},
        {"10,000 entities in many messages", narrow, parted, 2.0, {"vyrta"}},
        {"1,000 metrics", narrow, metrics, 2.0, {"bin", "vyrta", "json", "raw", "phm-csv"}},
        {"1,000 metrics with a file for each table", narrow, metricTables, 2.0, {"int"}},
        {"100,000 strings, of which the format can number 65,535", narrow, strings, 0, {"bin"}},
    };
}

// What a writer costs with one kind of work, each run in a process of its own.
class Runs {
public:
    Runs(const bench::WorkSize& size, const bench::PluginLibraries& library)
        : m_work(size), m_library(library) {}

    void add(const std::string& name) {
        m_costs[name].push_back(bench::measureInChild(name, [&](Cost& cost) {
            bench::ReadingWriter reader;
            bench::runWriter(name == READER ? reader : m_library.writer(name), m_work, cost);
        }));
    }

    // Nanoseconds per element, less what reading alone costs. The least of all rounds: whether the system has
    // memory at hand for a long run is not the writers' doing.
    double costOf(const std::string& name, double Cost::*figure) const {
        return (leastOf_i(name, figure) - leastOf_i(READER, figure)) / static_cast<double>(m_work.elements());
    }

    double peakMiBOf(const std::string& name) const {
        std::vector<double> peaks;
        for (const Cost& cost : m_costs.at(name)) peaks.push_back(cost.peakBytes);
        return bench::spreadOf(peaks).median / (1 << 20);
    }

private:
    double leastOf_i(const std::string& name, double Cost::*figure) const {
        std::vector<double> figures;
        for (const Cost& cost : m_costs.at(name)) figures.push_back(cost.*figure);
        return bench::spreadOf(figures).min;
    }

    bench::Work m_work;
    const bench::PluginLibraries& m_library;
    std::map<std::string, std::vector<Cost>> m_costs;
};

void compare(const Case& wide, const bench::PluginLibraries& library, unsigned rounds) {
    Runs usual(wide.usual, library);
    Runs runs(wide.size, library);
    for (unsigned round = 0; round < rounds; ++round) {
        std::fprintf(stderr, "%s, round %u of %u\n", wide.name.c_str(), round + 1, rounds);
        for (Runs* both : {&usual, &runs}) {
            both->add(READER);
            for (const std::string& writer : wide.writers) both->add(writer);
        }
    }
    std::printf("%s\n", wide.name.c_str());
    for (const std::string& writer : wide.writers) {
        const double usualNs = usual.costOf(writer, &Cost::ingestNs) + usual.costOf(writer, &Cost::finiNs);
        const double ingestNs = runs.costOf(writer, &Cost::ingestNs);
        const double ns = ingestNs + runs.costOf(writer, &Cost::finiNs);
        std::printf("  %-8s %8.1f ns per element (%.1f of it ingest), usually %.1f: %.2f times",
                    writer.c_str(), ns, ingestNs, usualNs, ns / usualNs);
        if (wide.atMost > 0) std::printf(", at most %.2f", wide.atMost);
        std::printf("; peak %.1f MiB\n", runs.peakMiBOf(writer));
        std::fflush(stdout);
    }
}

}  // namespace

int main(int argc, char** argv) {
    unsigned rounds = 5;
    std::size_t scale = 1;
    std::string only;
    std::vector<std::string> writers = WRITERS;
    std::vector<std::string> plugins = bench::builtLibraries();
    CLI::App app("Measures whether the cost of an element stays the same in long and in wide runs.");
    app.add_option("--rounds", rounds, "how often everything runs")->capture_default_str();
    app.add_option("--scale", scale, "divides the sizes, for a quick look")->capture_default_str();
    app.add_option("--only", only, "the cases whose names hold this");
    app.add_option("--writers", writers, "only these writers")->delimiter(',');
    app.add_option("--plugins", plugins, "the plug-in libraries")->capture_default_str();
    CLI11_PARSE(app, argc, argv);

    host::model::DescriptorLogger log(2);
    host::model::Environment environment(log, log);
    environment.m_logLevel = 1;
    const bench::PluginLibraries library(plugins);
    for (Case& wide : casesOf(scale)) {
        if (wide.name.find(only) == std::string::npos) continue;
        std::erase_if(wide.writers, [&](const std::string& writer) {
            return std::find(writers.begin(), writers.end(), writer) == writers.end();
        });
        if (!wide.writers.empty()) compare(wide, library, rounds);
    }
    return 0;
}
