// The entry points of the library: the one place that knows every writer.
#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <memory>

#include "binary/binarywriter_plugin.h"
#include "import/vyrtawriter_plugin.h"
#include "json/json_plugin.h"
#include "overtime/int_writer_v2.h"
#include "overtime/phmwriter_text_plugin.h"
#include "overtime/raw_writer_v2.h"
#include "plugins/plugin_list.h"
#include "summary/autowriter_plugin.h"
#include "summary/summarywriter_plugin.h"

namespace {

using Factory = std::unique_ptr<Plugin> (*)();

template <typename Writer>
std::unique_ptr<Plugin> make() {
    return std::make_unique<Writer>();
}

// The order of this table is the order in which the host sees the writers.
const Factory FACTORIES[] = {
    make<SummaryWriter>, make<VyrtaWriter>, make<JSONWriter>,    make<BinaryWriter>,
    make<RawWriterV2>,   make<IntWriterV2>, make<PhmTextWriter>, make<AutoWriter>,
};
constexpr std::size_t WRITER_COUNT = std::size(FACTORIES);

}  // namespace

PluginList* createPlugins() {
    // Writers are released at once: if a later step fails, the earlier ones are left as they are.
    Plugin* writers[WRITER_COUNT];
    for (std::size_t i = 0; i < WRITER_COUNT; ++i) writers[i] = FACTORIES[i]().release();

    auto list = std::make_unique<PluginList>();
    list->count = static_cast<std::int32_t>(WRITER_COUNT);
    list->plugins = static_cast<Plugin**>(std::malloc(WRITER_COUNT * sizeof(Plugin*)));
    if (list->plugins == nullptr) return nullptr;
    std::copy(writers, writers + WRITER_COUNT, list->plugins);
    return list.release();
}

void destroyPlugins(PluginList* list) {
    const std::unique_ptr<PluginList> owned(list);
    if (owned == nullptr || owned->plugins == nullptr) return;
    for (std::int32_t i = 0; i < owned->count; ++i) delete owned->plugins[i];
    std::free(owned->plugins);
}
