// The least that a program does to have the writers at hand.
#include <dlfcn.h>
#include <host/model/environment.h>
#include <host/model/loggers.h>
#include <plugins/plugin_list.h>
#include <plugins/writer_plugin_capability.h>

#include <cstdio>

int main(int, char** argv) {
    host::model::DescriptorLogger log(2);
    const host::model::Environment environment(log, log);
    void* const library = dlopen(argv[1], RTLD_NOW);
    if (library == nullptr) return std::fprintf(stderr, "%s\n", dlerror());
    PluginList* const list = reinterpret_cast<PluginList* (*)()>(dlsym(library, "createPlugins"))();
    for (int i = 0; i < list->count; ++i) std::puts(list->plugins[i]->m_capabilities[0]->m_name.c_str());
    reinterpret_cast<void (*)(PluginList*)>(dlsym(library, "destroyPlugins"))(list);
}
