#pragma once

#include <set>
#include <string>
#include <vector>

#include "host/session/plugin_libraries.h"

namespace host::session {

// The writers that a user asks for: their names with commas between, in any case and with blanks around them,
// or "all", or "none".
class WriterList {
public:
    explicit WriterList(const std::string& text);

    bool isNone() const { return m_names.size() == 1 && m_names.contains("none"); }
    bool isAll() const { return m_names.size() == 1 && m_names.contains("all"); }

    // Fills `chosen` with the writers of the libraries that are meant, in the libraries' order. Returns false
    // with `error` set if one is unknown.
    bool select(const PluginLibraries& libraries, std::vector<WriterPlugin*>& chosen,
                std::string& error) const;

private:
    std::set<std::string> m_names;  // in lower case
};

}  // namespace host::session
