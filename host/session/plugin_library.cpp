#include "host/session/plugin_library.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>

namespace host::session {

namespace {

template <typename Function>
Function symbolOf(void* library, const char* name) {
    return reinterpret_cast<Function>(::dlsym(library, name));
}

}  // namespace

PluginLibrary::~PluginLibrary() {
    if (m_list != nullptr) m_destroy(m_list);
}

bool PluginLibrary::open(const std::string& path, std::string& error) {
    return load_i(path, error) && list_i(path, error);
}

bool PluginLibrary::load_i(const std::string& path, std::string& error) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        error = "cannot open the plug-in library " + path + ": " + std::strerror(errno);
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        error = "cannot open the plug-in library " + path + ": not a regular file";
        return false;
    }
    // A name without a slash would be looked up in the system's folders.
    const std::string named = path.find('/') == std::string::npos ? "./" + path : path;
    void* const library = ::dlopen(named.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        error = path + " is not a plug-in library: " + ::dlerror();
        return false;
    }
    m_create = symbolOf<decltype(m_create)>(library, "createPlugins");
    m_destroy = symbolOf<decltype(m_destroy)>(library, "destroyPlugins");
    if (m_create != nullptr && m_destroy != nullptr) return true;
    error = path + " is not a plug-in library: it has no function " +
            (m_create == nullptr ? "createPlugins" : "destroyPlugins");
    return false;
}

bool PluginLibrary::list_i(const std::string& path, std::string& error) {
    try {
        m_list = m_create();
    } catch (const std::exception&) {
        // As if it had returned null.
    }
    if (m_list == nullptr || m_list->plugins == nullptr) {
        error = path + " could not make its writers";
        return false;
    }
    for (std::int32_t i = 0; i < m_list->count; ++i) {
        Plugin* const plugin = m_list->plugins[i];
        if (plugin == nullptr || plugin->m_capabilities.empty() || plugin->m_capabilities.front() == nullptr)
            continue;
        m_writers.push_back(static_cast<WriterPlugin*>(plugin));
    }
    return true;
}

const pwr::WriterPluginCapability& PluginLibrary::capabilityOf(const WriterPlugin& writer) {
    return *static_cast<const pwr::WriterPluginCapability*>(writer.m_capabilities.front());
}

}  // namespace host::session
