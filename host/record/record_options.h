// What the user asks of a recording.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/emit/line_sink.h"
#include "host/record/selection.h"
#include "host/record/trace/trace_sets.h"

namespace host::record {

struct RecordOptions {
    double seconds = 5.0;              // length of the collection; 0: until SIGINT or SIGTERM
    double intervalMs = 100.0;         // time between two samples
    Selection selection;               // what is recorded, and how often
    TraceOptions trace;                // kernel events beside the samples
    std::size_t top = 20;              // of many alike so many are in a sample; 0: all
    bool continuous = false;           // deliver while collecting, not after it
    double flushEverySec = 1.0;        // continuous runs: time between two flushes
    std::string save;                  // keeps the delivered stream in this file; empty: not kept
    double rotateSec = 0.0;            // length of a part, 0: no limit
    std::uint64_t rotateBytes = 0;     // of a part's stream, 0: no limit
    std::size_t keep = 0;              // complete parts that stay, 0: all
    std::string root = "/";            // where proc, sys and etc are looked for
    std::vector<std::string> command;  // the words of the command line
    std::string order;                 // line of the stream that orders the report; empty: the recorder's own
    emit::LineSink
        tee;  // gets all samples as they come, of one part after the other, with a flush every flushEverySec

    bool isRotated() const { return rotateSec > 0 || rotateBytes > 0; }

    bool isQuiet = false;   // no notes of what the sources see, on standard error
    bool progress = false;  // show on standard error how far the collection is
};

}  // namespace host::record
