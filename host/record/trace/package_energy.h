#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "host/record/perf_counter.h"
#include "host/record/sample_file.h"

namespace host::record {

// What all packages of the machine have used together.
class PackageEnergy {
public:
    explicit PackageEnergy(const Root& root);

    bool isMeasured() const { return !m_files.empty() || !m_counters.empty(); }

    // Microjoules since the last call. Nothing if a package can't be read, at the first call, and when a
    // counter was set back.
    std::optional<std::uint64_t> take();

private:
    struct File {
        SampleFile energy;
        std::uint64_t range;  // it goes on from 0 after it
        std::uint64_t last = 0;
    };
    struct Counter {
        PerfCounter counter;
        double scale;  // microjoules of a count
        std::uint64_t last = 0;
    };

    void addFiles_i(const Root& root);
    void addCounters_i(const Root& root);

    std::vector<File> m_files;
    std::vector<Counter> m_counters;
    bool m_isBegun = false;
};

}  // namespace host::record
