#include "host/model/results.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace host::model {

namespace {

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

}  // namespace

Results::Results() : m_folder(AT_FDCWD) {}

bool Results::isTemporary(const std::string& path) {
    return endsWith(path, ".tmp");
}

void Results::setFolder(int folder, const std::string& path) {
    m_folder = folder;
    m_folderPath = path;
}

int Results::folderOf(const std::string& path) const {
    return isTemporary(path) ? AT_FDCWD : m_folder;
}

void Results::note(const std::string& path) {
    if (isTemporary(path) || !m_known.insert(path).second) return;
    m_made.push_back(path);
    if (m_folder != AT_FDCWD) standIn_i(path);
}

void Results::noteUncreated(const std::string& path, int error) {
    if (!isTemporary(path)) m_uncreated.push_back({path, error});
}

void Results::standIn_i(const std::string& path) {
    const std::string name = path.substr(0, path.find('/'));
    // From the root every path is the same; above the folder of the results nothing can be put in place.
    if (name.empty() || name == "." || name == "..") return;
    const std::string target = m_folderPath + "/" + name;
    m_standIns.push_back({name, name == path});
    if (::symlink(target.c_str(), name.c_str()) != 0) m_standIns.pop_back();
}

void Results::settle() {
    for (const StandIn& link : m_standIns) {
        if (::unlink(link.name.c_str()) != 0 && errno == ENOENT && link.isResult)
            ::unlinkat(m_folder, link.name.c_str(), 0);
    }
    m_standIns.clear();
}

std::vector<Results::Made> Results::made() const {
    std::vector<Made> made;
    for (const std::string& path : m_made) {
        struct stat status {};
        if (::fstatat(m_folder, path.c_str(), &status, 0) == 0 && S_ISREG(status.st_mode))
            made.push_back({path, static_cast<std::uint64_t>(status.st_size)});
    }
    return made;
}

}  // namespace host::model
