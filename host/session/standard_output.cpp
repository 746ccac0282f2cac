#include "host/session/standard_output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <vector>

#include "host/base/descriptor.h"
#include "host/model/files.h"
#include "host/session/plugin_library.h"

namespace host::session {

namespace {

constexpr std::size_t CHUNK = std::size_t{1} << 18;

// A file for each group, and a file that many runs add to.
bool makesOneFile(const std::string& writer) {
    return writer != "phm-csv" && writer != "auto";
}

// Returns 0 or an errno value.
int copyAll(int from, int to) {
    std::vector<char> chunk(CHUNK);
    while (true) {
        const ssize_t count = ::read(from, chunk.data(), chunk.size());
        if (count == 0) return 0;
        if (count < 0 && errno != EINTR) return errno;
        if (count < 0) continue;
        if (const int error = model::writeAll(to, chunk.data(), static_cast<std::size_t>(count)); error != 0)
            return error;
    }
}

}  // namespace

StandardOutput::~StandardOutput() {
    std::error_code ignored;
    if (!m_folder.empty()) std::filesystem::remove_all(m_folder, ignored);
}

bool StandardOutput::open(const std::vector<Delivery::Writer>& writers, bool isContinuous,
                          std::string& error) {
    if (writers.size() != 1 || isContinuous || !makesOneFile(writers.front().m_name)) {
        error = "-o - takes exactly one writer, one that makes one file, and no continuous run";
        return false;
    }
    m_extension = PluginLibrary::capabilityOf(*writers.front().m_plugin).m_extension;
    std::error_code problem;
    std::string name = (std::filesystem::temp_directory_path(problem) / "pwrhost-XXXXXX").string();
    if (problem || ::mkdtemp(name.data()) == nullptr) {
        error = "cannot make a folder for the result in the folder for temporary files: " +
                (problem ? problem.message() : std::strerror(errno));
        return false;
    }
    m_folder = name;
    return true;
}

bool StandardOutput::copy(std::string& error) {
    const std::string path = outputName() + m_extension;
    const base::Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.isOpen() && errno == ENOENT) return true;
    const int problem = file.isOpen() ? copyAll(file.get(), STDOUT_FILENO) : errno;
    if (problem != 0)
        error = "cannot write the result to standard output: " + std::string(std::strerror(problem));
    return problem == 0;
}

}  // namespace host::session
