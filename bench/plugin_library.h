// The built writer library, loaded as any host loads it.
#pragma once

#include <string>

#include "plugins/plugin_list.h"
#include "plugins/writer_plugin.h"

namespace bench {

// The libraries of the build that this program belongs to: of the writers, and of the writers of open
// formats.
std::string builtLibrary();
std::string builtExportLibrary();

// Owns the loaded library and its writers. Exits the program with a message if it cannot be loaded.
class PluginLibrary {
public:
    explicit PluginLibrary(const std::string& path);
    ~PluginLibrary();
    PluginLibrary(const PluginLibrary&) = delete;
    PluginLibrary& operator=(const PluginLibrary&) = delete;

    // The writer with that option name, null if there is none.
    WriterPlugin* find(const std::string& name) const;

    // The same, but exits the program if there is none.
    WriterPlugin& writer(const std::string& name) const;

private:
    void* m_library;
    PluginList* m_list;
    void (*m_destroy)(PluginList*);
};

}  // namespace bench
