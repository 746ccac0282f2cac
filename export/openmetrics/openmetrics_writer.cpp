#include "export/openmetrics/openmetrics_writer.h"

#include "plugins/writer_plugin_capability.h"

namespace exporting {

OpenMetricsWriter::OpenMetricsWriter() : RunWriter("1c7e0045-87b2-4d81-8a37-ec3895dbe50f") {
    addCapability(new pwr::WriterPluginCapability(
        {}, OpenMetricsRun::NAME,
        "Write time series as OpenMetrics text (.om) for monitoring systems and their dashboards", ".om",
        true));
}

}  // namespace exporting
