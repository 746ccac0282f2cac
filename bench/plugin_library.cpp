#include "bench/plugin_library.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "plugins/writer_plugin_capability.h"

namespace bench {

namespace {

[[noreturn]] void fail(const char* what, const char* detail) {
    std::fprintf(stderr, "bench: %s: %s\n", what, detail);
    std::exit(1);
}

}  // namespace

std::vector<std::string> builtLibraries() {
    const auto folder = std::filesystem::canonical("/proc/self/exe").parent_path().parent_path() / "lib";
    return {(folder / "libwriter_plugins.so").string(), (folder / "libexport_plugins.so").string()};
}

PluginLibraries::PluginLibraries(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) m_libraries.push_back(load_i(path));
}

PluginLibraries::Library PluginLibraries::load_i(const std::string& path) {
    void* const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) fail("cannot load the writers", dlerror());
    const auto create = reinterpret_cast<PluginList* (*)()>(dlsym(handle, "createPlugins"));
    const auto destroy = reinterpret_cast<void (*)(PluginList*)>(dlsym(handle, "destroyPlugins"));
    if (create == nullptr || destroy == nullptr) fail("not a writer library", path.c_str());
    PluginList* const list = create();
    if (list == nullptr) fail("cannot create the writers", path.c_str());
    return {handle, list, destroy};
}

PluginLibraries::~PluginLibraries() {
    for (const Library& library : m_libraries) {
        library.destroy(library.list);
        dlclose(library.handle);
    }
}

WriterPlugin& PluginLibraries::writer(const std::string& name) const {
    for (const Library& library : m_libraries) {
        for (std::int32_t i = 0; i < library.list->count; ++i) {
            auto* const writer = static_cast<WriterPlugin*>(library.list->plugins[i]);
            if (writer->m_capabilities.front()->m_name == name) return *writer;
        }
    }
    fail("no such writer", name.c_str());
}

}  // namespace bench
