// A plug-in library for tests of the program: two probes that log what they are given as notes. What fails
// is named in the environment: PROBE_FAILS=init,metric (first writer only).
#include <cstdlib>
#include <memory>
#include <string>

#include "plugins/log.h"
#include "plugins/plugin_capability.h"
#include "plugins/plugin_list.h"
#include "pwr/utilities.h"
#include "tests/host/probe_writer.h"

namespace {

class LoggingProbe : public test::ProbeWriter {
public:
    using ProbeWriter::ProbeWriter;
    ~LoggingProbe() override {
        for (const std::string& call : m_calls)
            LOG_NOTE("%s: %s\n", m_capabilities.front()->m_name.c_str(), call.c_str());
    }
};

}  // namespace

PluginList* createPlugins() {
    auto list = std::make_unique<PluginList>();
    list->count = 2;
    list->plugins = static_cast<Plugin**>(std::malloc(2 * sizeof(Plugin*)));
    if (list->plugins == nullptr) return nullptr;
    auto first = std::make_unique<LoggingProbe>("first");
    const char* const failing = std::getenv("PROBE_FAILS");
    for (const std::string& operation :
         pwr::Tokenizer(failing != nullptr ? failing : "", ",").get_all_tokens())
        first->m_failing.insert(operation);
    list->plugins[0] = first.release();
    list->plugins[1] = std::make_unique<LoggingProbe>("second", std::set<pwr::TableClass>(), false).release();
    return list.release();
}

void destroyPlugins(PluginList* list) {
    const std::unique_ptr<PluginList> owned(list);
    for (int i = 0; i < list->count; ++i) delete list->plugins[i];
    std::free(list->plugins);
}
