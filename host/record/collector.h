// A collection from its preparation to the last line that it delivers.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "host/record/clock.h"
#include "host/record/local_output.h"
#include "host/record/part.h"
#include "host/record/part_processes.h"
#include "host/record/progress.h"
#include "host/record/record.h"

namespace host::record {

class Collector {
public:
    // `warn` gets the lines for the user, without line ends. The clock and the root outlive this object.
    Collector(const RecordOptions& options, const Root& root, Clock& clock, emit::LineSink sink, Warn warn);
    Collector(const Collector&) = delete;
    Collector& operator=(const Collector&) = delete;
    ~Collector();

    // To be called when everything is ready to be sampled. If it returns false nothing is collected.
    void onStart(std::function<bool()> start) { m_onStart = std::move(start); }

    // Writes more into the report.
    void onReport(std::function<void(emit::Report&)> report) { m_onReport = std::move(report); }

    // The parts of a recording that is rotated go through these instead of the sink. They outlive this
    // object.
    void rotateThrough(PartProcesses& parts) { m_parts = &parts; }

    // Collects and delivers. To be called once.
    RecordResult run();

private:
    bool begin_i();
    void collect_i(Progress& progress);
    void wake_i(std::uint64_t end);
    bool isPartFull_i() const;
    void rotate_i();
    void endPart_i();
    emit::LineSink sink_i();
    double seconds_i(std::uint64_t ticks) const;
    std::uint64_t ticks_i(double seconds) const;

    const RecordOptions& m_options;
    const Root& m_root;
    Clock& m_clock;
    Warn m_warn;
    LocalOutput m_output;
    std::function<bool()> m_onStart;
    std::function<void(emit::Report&)> m_onReport;
    OwnState m_own;
    std::unique_ptr<Part> m_part;
    PartProcesses* m_parts = nullptr;

    std::uint64_t m_start = 0;      // ticks
    std::uint64_t m_nextFlush = 0;  // of a continuous run
};

}  // namespace host::record
