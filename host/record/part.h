// A whole run of the recorder: definitions, samples, a report.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/emit/definitions.h"
#include "host/emit/spool.h"
#include "host/record/clock.h"
#include "host/record/cpus.h"
#include "host/record/machine.h"
#include "host/record/record_options.h"
#include "host/record/source.h"

namespace host::record {

using Warn = std::function<void(const std::string&)>;

// The calls come in this order: prepare, baseline, goLive or not, sample and flush any number of times,
// finish, deliver. A run of several parts begins each where the one before has stopped.
class Part {
public:
    // `warn` gets the lines for the user, without line ends. A part that is not the first tells no more what
    // its sources find at its start. All that is referred to outlives this object.
    Part(const RecordOptions& options, const Root& root, Clock& clock, const OwnState& own, Warn warn,
         bool isFirst);
    Part(const Part&) = delete;
    Part& operator=(const Part&) = delete;
    ~Part();

    // Looks for what the machine has and defines it: everything that takes time, so that the first sample's
    // interval is not longer than the others.
    void prepare();

    // Reads what the first samples count from.
    void baseline(std::uint64_t ticks);

    // From here on the lines go to `sink`, those so far first; `stop` is the planned end.
    void goLive(const emit::LineSink& sink, std::uint64_t stop);

    // Sends a copy of all lines, those so far first, to `sink`, and from time to time a flush.
    void tee(const emit::LineSink& sink, std::uint64_t stop);
    void flushTee(std::uint64_t ticks);

    // When the next sample is due.
    std::uint64_t due() const;

    // Samples the sources that are due at `ticks`, or all. Samples that are due already are left out: a late
    // one holds what they would have. Returns whether one came so late.
    bool sample(std::uint64_t ticks, bool all = false);

    // A descriptor that becomes readable when drain is to be called before the next sample is due; -1: there
    // is none.
    int wakeDescriptor() const;
    void drain();

    // Begins anew after the machine has slept.
    void restart(std::uint64_t ticks);

    // Asks for results, as they are at `ticks`. For those that are live.
    void flush(std::uint64_t ticks);

    // Ends what is going on. `reason` names what ended the collection before its time, if anything did.
    void finish(std::uint64_t ticks, const std::string& reason = {});

    // Adds lines and a table to the report's end, before `deliver`.
    void addReport(std::function<void(emit::Report&)> write) { m_additions.push_back(std::move(write)); }

    // Delivers all that has not been delivered: to `sink`, or where the live lines go. Returns false if lines
    // could not be kept, which is reported.
    bool deliver(const emit::LineSink& sink);

    // Whether lines are still wanted and can be kept.
    bool isOpen() const { return m_output.isOpen(); }

    std::uint64_t start() const { return m_start; }
    std::uint64_t lastSample() const { return m_last; }
    std::uint64_t samples() const { return m_samples; }
    std::uint64_t bytes() const { return m_bytes; }
    const Cpus& cpus() const { return *m_cpus; }

    // The metrics that were found, with the number of their entities.
    const emit::Definitions& definitions() const { return m_definitions; }

private:
    struct Active {
        SourcePtr source;
        std::uint64_t interval;  // ticks
        std::uint64_t due = 0;
        std::uint64_t last = 0;  // sample
    };

    void addSources_i();
    SourcePtr makeTrace_i();
    std::uint64_t ticks_i(double milliseconds) const;
    void writeSystem_i(emit::Output& output, std::uint64_t stop);
    void writeStop_i(emit::Output& output, std::uint64_t stop);
    void writeReport_i();
    void writeHead_i(emit::Report& report);
    double seconds_i(std::uint64_t ticks) const;

    const RecordOptions& m_options;
    const Root& m_root;
    Clock& m_clock;
    const OwnState& m_own;
    Warn m_warn;
    bool m_isFirst;

    emit::Spool m_spool;
    emit::LineSink m_tee;       // empty: no copy
    std::uint64_t m_bytes = 0;  // of all lines
    emit::Output m_output;      // to the spool, later to a sink
    emit::Definitions m_definitions;
    StatFile m_stat;
    DeviceFolders m_devices;
    Machine m_machine;
    std::unique_ptr<Cpus> m_cpus;
    std::unique_ptr<SourceContext> m_context;
    std::vector<Active> m_sources;
    std::vector<std::string> m_absent;     // sources that this machine has nothing of
    std::vector<std::string> m_forbidden;  // those that only others may read
    std::vector<std::function<void(emit::Report&)>> m_additions;

    std::int64_t m_wallStart = 0;  // nanoseconds since 1970
    std::uint64_t m_start = 0;     // ticks
    std::uint64_t m_last = 0;      // of the last sample
    std::uint64_t m_stop = 0;
    std::uint64_t m_samples = 0;
    bool m_isLive = false;
    std::string m_reason;
};

}  // namespace host::record
