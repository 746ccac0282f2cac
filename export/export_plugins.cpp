// The entry points of the library of open formats: the one place that knows its writers.
#include "export/html/html_writer.h"
#include "export/long_writer.h"
#include "export/openmetrics/openmetrics_writer.h"
#include "export/perfetto/perfetto_writer.h"
#include "plugins/plugin_factories.h"

namespace {

// The order of this table is the order in which the host sees the writers.
constexpr PluginFactory FACTORIES[] = {
    makePlugin<exporting::LongWriter>,
    makePlugin<exporting::PerfettoWriter>,
    makePlugin<exporting::OpenMetricsWriter>,
    makePlugin<exporting::HtmlWriter>,
};

}  // namespace

PluginList* createPlugins() {
    return createPluginList(FACTORIES);
}

void destroyPlugins(PluginList* list) {
    destroyPluginList(list);
}
