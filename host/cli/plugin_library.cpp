#include "host/cli/plugin_library.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>

namespace host::cli {

namespace {

constexpr const char* LIBRARY_NAME = "libwriter_plugins.so";

// Looks beside the program, in the build tree and in the installed tree. Empty if it is nowhere.
std::string findLibrary() {
    std::error_code problem;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", problem);
    if (problem) return {};
    for (const char* folder : {".", "../lib", HOST_LIBRARY_FOLDER}) {
        const auto candidate = program.parent_path() / folder / LIBRARY_NAME;
        if (std::filesystem::exists(candidate, problem)) return candidate.lexically_normal().string();
    }
    return {};
}

template <typename Function>
Function symbolOf(void* library, const char* name) {
    return reinterpret_cast<Function>(::dlsym(library, name));
}

}  // namespace

PluginLibrary::~PluginLibrary() {
    if (m_list != nullptr) m_destroy(m_list);
}

bool PluginLibrary::open(const std::string& path, std::string& error) {
    const std::string chosen = path.empty() ? findLibrary() : path;
    if (chosen.empty()) {
        error = std::string("cannot find ") + LIBRARY_NAME + " near the program; name it with --plugins";
        return false;
    }
    return load_i(chosen, error) && list_i(chosen, error);
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

}  // namespace host::cli
