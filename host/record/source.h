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
#include "host/record/sample_file.h"
#include "host/record/stat_file.h"

namespace host::record {

// What the sources share. It outlives them.
struct SourceContext : emit::Context {
    const Root& root;
    Cpus& cpus;
    const StatFile& stat;                          // as of this sample
    emit::Id system;                               // entity of the machine as a whole
    std::uint64_t bootTicks;                       // that clock when the kernel started, 0 if unknown
    std::function<void(const std::string&)> tell;  // a line for the user, without its line end
};

// The calls come in this order: prepare, baseline, sample any number of times, finish, report. Time stamps
// are ticks, and each is larger than the one before. Before the first sample there are only definitions.
class Source {
public:
    virtual ~Source() = default;

    // Finds what the machine has and defines it. False: there is nothing of the kind, and no further call.
    virtual bool prepare() = 0;

    // Reads the counters that the first sample counts from.
    virtual void baseline(std::uint64_t ticks) = 0;

    // Delivers what happened since the last call.
    virtual void sample(std::uint64_t ticks) = 0;

    // Delivers what ends with the collection.
    virtual void finish(std::uint64_t /*ticks*/) {}

    // Writes the summary tables.
    virtual void report(emit::Report& report) = 0;

    // What it measures, as a word for the user.
    virtual std::string subject() const = 0;
};

using SourcePtr = std::unique_ptr<Source>;

// All sources, in the order in which a report holds them unless told otherwise.
std::vector<SourcePtr> makeSources(SourceContext& context);

// Features in the order that the report has by default.
const std::vector<std::string>& defaultFeatureOrder();

}  // namespace host::record
