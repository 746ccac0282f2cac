// The built plug-in libraries, loaded as any host loads them.
#pragma once

#include <string>
#include <vector>

#include "plugins/plugin_list.h"
#include "plugins/writer_plugin.h"

namespace bench {

// The libraries of the build that this program belongs to.
std::vector<std::string> builtLibraries();

// Owns the loaded libraries and their writers. Exits the program with a message if one cannot be loaded.
class PluginLibraries {
public:
    explicit PluginLibraries(const std::vector<std::string>& paths);
    ~PluginLibraries();
    PluginLibraries(const PluginLibraries&) = delete;
    PluginLibraries& operator=(const PluginLibraries&) = delete;

    // The writer with that option name. Exits the program if there is none.
    WriterPlugin& writer(const std::string& name) const;

private:
    struct Library {
        void* handle;
        PluginList* list;
        void (*destroy)(PluginList*);
    };

    static Library load_i(const std::string& path);

    std::vector<Library> m_libraries;
};

}  // namespace bench
