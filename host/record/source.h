// What a source of measurements is to the recorder.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/emit/context.h"
#include "host/emit/definitions.h"
#include "host/emit/output.h"
#include "host/emit/report.h"
#include "host/record/cpus.h"
#include "host/record/device_folders.h"
#include "host/record/sample_file.h"
#include "host/record/stat_file.h"

namespace host::record {

// What the recorder knows of itself.
struct OwnState {
    std::uint64_t cpuUsec = 0;         // that it has used
    std::uint64_t lateSamples = 0;     // since the start
    std::uint64_t suspendedTicks = 0;  // that the machine slept before this sample
};

// What the sources share. It outlives them.
struct SourceContext : emit::Context {
    const Root& root;
    DeviceFolders& devices;  // at the start
    Cpus& cpus;
    const StatFile& stat;     // as of this sample
    emit::Id system;          // entity of the machine as a whole
    std::uint64_t bootTicks;  // that clock when the kernel started, 0 if unknown
    std::size_t top;          // of many alike so many are in a sample; 0: all
    const OwnState& own;      // as of this sample
    // Tell the user something in a line, without its line end: that something asked for fails, and what may
    // stay untold.
    std::function<void(const std::string&)> warn;
    std::function<void(const std::string&)> note;
};

// The calls come in this order: prepare, baseline, sample any number of times, finish, report. Time stamps
// are ticks, and each is larger than the one before. Before the first sample there are only definitions.
class Source {
public:
    virtual ~Source() = default;

    // Finds what the machine has and defines it. False: there is nothing of the kind, and no further call.
    virtual bool prepare() = 0;

    // After prepare gave false: the machine has it, but this user may not read it, which has been said.
    virtual bool isForbidden() const { return false; }

    // Reads the counters that the first sample counts from.
    virtual void baseline(std::uint64_t ticks) = 0;

    // Delivers what happened since the last call.
    virtual void sample(std::uint64_t ticks) = 0;

    // A descriptor that becomes readable when the source has so much to deliver that it can't wait for the
    // next sample: then drain is called. -1: there is none.
    virtual int wakeDescriptor() const { return -1; }
    virtual void drain() {}

    // As baseline, after the machine has slept: what the counters did meanwhile is nobody's.
    virtual void restart(std::uint64_t ticks) { baseline(ticks); }

    // Delivers what ends with the collection.
    virtual void finish(std::uint64_t /*ticks*/) {}

    // Writes the summary tables.
    virtual void report(emit::Report& report) = 0;
};

using SourcePtr = std::unique_ptr<Source>;

// A metric that a source may offer, and the files that it is read from, as globs below the root.
struct MetricInfo {
    const char* name;
    const char* units;  // empty: a number without any
    std::vector<const char*> files;
};

// What a user chooses by name. Several may share one; what they have in common is said of each.
struct SourceInfo {
    const char* name;
    double intervalMs;  // default time between two samples, 0: that of the collection
    SourcePtr (*make)(SourceContext& context);
    std::vector<MetricInfo> metrics;
};

// All sources, in the order in which they are listed and sampled.
const std::vector<SourceInfo>& sourceTable();

// Features in the order that the report has by default.
const std::vector<std::string>& defaultFeatureOrder();

}  // namespace host::record
