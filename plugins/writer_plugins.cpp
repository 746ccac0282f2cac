// The entry points of the library: the one place that knows every writer.
#include "binary/binarywriter_plugin.h"
#include "import/vyrtawriter_plugin.h"
#include "json/json_plugin.h"
#include "overtime/int_writer_v2.h"
#include "overtime/phmwriter_text_plugin.h"
#include "overtime/raw_writer_v2.h"
#include "plugins/plugin_factories.h"
#include "summary/autowriter_plugin.h"
#include "summary/summarywriter_plugin.h"

namespace {

// The order of this table is the order in which the host sees the writers.
constexpr PluginFactory FACTORIES[] = {
    makePlugin<SummaryWriter>, makePlugin<VyrtaWriter>, makePlugin<JSONWriter>,    makePlugin<BinaryWriter>,
    makePlugin<RawWriterV2>,   makePlugin<IntWriterV2>, makePlugin<PhmTextWriter>, makePlugin<AutoWriter>,
};

}  // namespace

PluginList* createPlugins() {
    return createPluginList(FACTORIES);
}

void destroyPlugins(PluginList* list) {
    destroyPluginList(list);
}
