#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/session/plugin_library.h"

namespace host::session {

// The libraries that were built or installed beside this program; an empty path for one that is not there.
std::vector<std::string> ownLibraries();

// The plug-in libraries of a run, in the order in which they were named, and all their writers.
class PluginLibraries {
public:
    // Opens `paths`; an empty list stands for ownLibraries().
    // Returns false with `error` set. The environment must be there.
    bool open(const std::vector<std::string>& paths, std::string& error);

    const std::vector<WriterPlugin*>& writers() const { return m_writers; }

private:
    std::vector<std::unique_ptr<PluginLibrary>> m_libraries;
    std::vector<WriterPlugin*> m_writers;
};

}  // namespace host::session
