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

std::string built(const char* name) {
    const auto folder = std::filesystem::canonical("/proc/self/exe").parent_path();
    return (folder.parent_path() / "lib" / name).string();
}

}  // namespace

std::string builtLibrary() {
    return built("libwriter_plugins.so");
}

std::string builtExportLibrary() {
    return built("libexport_plugins.so");
}

PluginLibrary::PluginLibrary(const std::string& path) : m_library(dlopen(path.c_str(), RTLD_NOW)) {
    if (m_library == nullptr) fail("cannot load the writers", dlerror());
    const auto create = reinterpret_cast<PluginList* (*)()>(dlsym(m_library, "createPlugins"));
    m_destroy = reinterpret_cast<void (*)(PluginList*)>(dlsym(m_library, "destroyPlugins"));
    if (create == nullptr || m_destroy == nullptr) fail("not a writer library", path.c_str());
    m_list = create();
    if (m_list == nullptr) fail("cannot create the writers", path.c_str());
}

PluginLibrary::~PluginLibrary() {
    m_destroy(m_list);
    dlclose(m_library);
}

WriterPlugin* PluginLibrary::find(const std::string& name) const {
    for (std::int32_t i = 0; i < m_list->count; ++i) {
        auto* const writer = static_cast<WriterPlugin*>(m_list->plugins[i]);
        if (writer->m_capabilities.front()->m_name == name) return writer;
    }
    return nullptr;
}

WriterPlugin& PluginLibrary::writer(const std::string& name) const {
    WriterPlugin* const writer = find(name);
    if (writer == nullptr) fail("no such writer", name.c_str());
    return *writer;
}

}  // namespace bench
