#pragma once

#include "export/openmetrics/openmetrics_run.h"
#include "export/run_writer.h"

namespace exporting {

// The writer "openmetrics": the over-time data of a run as series of a monitoring system, NAME.om; in a
// continuous run a numbered file for each flush. docs/formats/openmetrics.md describes names and values.
class OpenMetricsWriter : public RunWriter<OpenMetricsRun> {
public:
    OpenMetricsWriter();
};

}  // namespace exporting
