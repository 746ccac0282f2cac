#include "export/perfetto/perfetto_writer.h"

#include "plugins/writer_plugin_capability.h"

namespace exporting {

PerfettoWriter::PerfettoWriter() : RunWriter("6d5f4c0e-6b3b-4a53-9a3e-1f0a5f5b7c02") {
    addCapability(new pwr::WriterPluginCapability(
        {}, PerfettoRun::NAME, "Write a trace of all samples for the Perfetto viewer (.perfetto-trace)",
        ".perfetto-trace", true));
}

}  // namespace exporting
