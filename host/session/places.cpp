#include "host/session/places.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/base/complain.h"
#include "host/base/unnamed_file.h"
#include "host/session/plugin_library.h"

namespace host::session {

std::string folderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

bool checkPlaces(const std::vector<Delivery::Writer>& writers, const std::string& output) {
    for (const Delivery::Writer& writer : writers) {
        // All runs of a folder share this one.
        const std::string file = writer.m_name == "auto"
                                     ? "Automation_Summary.csv"
                                     : output + PluginLibrary::capabilityOf(*writer.m_plugin).m_extension;
        const std::string folder = folderOf(file);
        if (base::makeUnnamedFile(folder).isOpen()) continue;
        const int reason = errno;
        if (::access(file.c_str(), W_OK) == 0) continue;
        base::complain("cannot write to the output folder " + folder + ": " + std::strerror(reason));
        return false;
    }
    return true;
}

}  // namespace host::session
