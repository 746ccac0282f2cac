#pragma once

#include <string>
#include <vector>

#include "plugins/plugin_list.h"
#include "plugins/writer_plugin.h"
#include "plugins/writer_plugin_capability.h"

namespace host::session {

// A library of writers, opened as any host would: by its two exported functions. The library stays
// loaded until the process ends; the writers go with this object.
class PluginLibrary {
public:
    PluginLibrary() = default;
    PluginLibrary(const PluginLibrary&) = delete;
    PluginLibrary& operator=(const PluginLibrary&) = delete;
    ~PluginLibrary();

    // Opens `path` and makes the writers; the environment must be there. Returns false with
    // `error` set.
    bool open(const std::string& path, std::string& error);

    const std::vector<WriterPlugin*>& writers() const { return m_writers; }

    // What the host knows of a writer.
    static const pwr::WriterPluginCapability& capabilityOf(const WriterPlugin& writer);

private:
    bool load_i(const std::string& path, std::string& error);
    bool list_i(const std::string& path, std::string& error);

    PluginList* (*m_create)() = nullptr;
    void (*m_destroy)(PluginList*) = nullptr;
    PluginList* m_list = nullptr;
    std::vector<WriterPlugin*> m_writers;
};

}  // namespace host::session
