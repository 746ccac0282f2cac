#include "host/session/places.h"

#include <sys/stat.h>
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

bool hasPlace(const std::string& file, bool isExact) {
    struct stat status {};
    if (isExact && ::stat(file.c_str(), &status) == 0) {
        if (!S_ISDIR(status.st_mode)) return ::access(file.c_str(), W_OK) == 0;
        errno = EISDIR;
        return false;
    }
    return base::makeUnnamedFile(folderOf(file)).isOpen();
}

bool checkPlaces(const std::vector<Delivery::Writer>& writers, const std::string& output, bool isNumbered) {
    for (const Delivery::Writer& writer : writers) {
        const bool isShared = writer.m_name == "auto";
        // These two make more than one file.
        const bool isExact =
            isShared || (!isNumbered && writer.m_name != "phm-csv" && writer.m_name != "long");
        const std::string file =
            isShared ? AUTOMATION_FILE : output + PluginLibrary::capabilityOf(*writer.m_plugin).m_extension;
        if (hasPlace(file, isExact)) continue;
        const std::string reason = std::strerror(errno);
        const bool isThere = isExact && ::access(file.c_str(), F_OK) == 0;
        base::complain("cannot write " + (isThere ? file : "to the output folder " + folderOf(file)) + ": " +
                       reason + (isShared && !isThere ? std::string(" (for ") + AUTOMATION_FILE + ")" : ""));
        return false;
    }
    return true;
}

}  // namespace host::session
