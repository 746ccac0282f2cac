#include "host/session/plugin_libraries.h"

#include <filesystem>

namespace host::session {

namespace {

constexpr const char* LIBRARY_NAMES[] = {"libwriter_plugins.so", "libexport_plugins.so"};

// Looks beside the program, in the build tree and in the installed tree. Empty if it is nowhere.
std::string findLibrary(const char* name) {
    std::error_code problem;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", problem);
    if (problem) return {};
    for (const char* folder : {".", "../lib", HOST_LIBRARY_FOLDER}) {
        const auto candidate = program.parent_path() / folder / name;
        if (std::filesystem::exists(candidate, problem)) return candidate.lexically_normal().string();
    }
    return {};
}

}  // namespace

std::vector<std::string> ownLibraries() {
    std::vector<std::string> paths;
    for (const char* name : LIBRARY_NAMES) paths.push_back(findLibrary(name));
    return paths;
}

bool PluginLibraries::open(const std::vector<std::string>& paths, std::string& error) {
    std::vector<std::string> chosen = paths;
    if (chosen.empty()) {
        for (const char* name : LIBRARY_NAMES) {
            chosen.push_back(findLibrary(name));
            if (!chosen.back().empty()) continue;
            error =
                std::string("cannot find ") + name + " near the program; name the libraries with --plugins";
            return false;
        }
    }
    for (const std::string& path : chosen) {
        m_libraries.push_back(std::make_unique<PluginLibrary>());
        if (!m_libraries.back()->open(path, error)) return false;
        const auto& writers = m_libraries.back()->writers();
        m_writers.insert(m_writers.end(), writers.begin(), writers.end());
    }
    return true;
}

}  // namespace host::session
