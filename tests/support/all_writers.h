#pragma once

#include "plugins/plugin_list.h"
#include "plugins/writer_plugin.h"

namespace test {

// The writers of the library, in the order in which the host sees them. A test links
// plugins/writer_plugins.cpp for it.
class AllWriters {
public:
    AllWriters() : m_list(createPlugins()) {}
    AllWriters(const AllWriters&) = delete;
    AllWriters& operator=(const AllWriters&) = delete;
    ~AllWriters() { destroyPlugins(m_list); }

    int count() const { return m_list->count; }
    WriterPlugin& operator[](int index) const { return static_cast<WriterPlugin&>(*m_list->plugins[index]); }

private:
    PluginList* const m_list;
};

}  // namespace test
