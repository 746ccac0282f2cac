#pragma once

#include "export/perfetto/perfetto_run.h"
#include "export/run_writer.h"

namespace exporting {

// The writer "perfetto": the over-time data of a run as track events, NAME.perfetto-trace, or in a continuous
// run as a series of files that stand alone, NAME_0.perfetto-trace and so on. docs/formats/perfetto.md says
// how the messages are shown.
class PerfettoWriter : public RunWriter<PerfettoRun> {
public:
    PerfettoWriter();
};

}  // namespace exporting
