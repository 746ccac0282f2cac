#include "plugins/plugin_factories.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

PluginList* createPluginList(std::span<const PluginFactory> factories) {
    // Plug-ins are released at once: if a later step fails, the earlier ones are left as they are.
    std::vector<Plugin*> plugins;
    plugins.reserve(factories.size());
    for (const PluginFactory make : factories) plugins.push_back(make().release());

    auto list = std::make_unique<PluginList>();
    list->count = static_cast<std::int32_t>(plugins.size());
    // NOLINTNEXTLINE(bugprone-sizeof-expression): a list of pointers is meant
    list->plugins = static_cast<Plugin**>(std::calloc(plugins.size() + 1, sizeof(Plugin*)));
    if (list->plugins == nullptr) return nullptr;
    std::copy(plugins.begin(), plugins.end(), list->plugins);
    return list.release();
}

void destroyPluginList(PluginList* list) {
    const std::unique_ptr<PluginList> owned(list);
    if (owned == nullptr || owned->plugins == nullptr) return;
    for (std::int32_t i = 0; i < owned->count; ++i) delete owned->plugins[i];
    std::free(owned->plugins);
}
