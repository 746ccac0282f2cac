#include "host/compare/group.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/base/descriptor.h"
#include "host/compare/automation_reader.h"

namespace host::compare {

namespace {

bool exists(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0;
}

base::Descriptor open(const std::string& path, std::string& error) {
    base::Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    int problem = !file.isOpen() || ::fstat(file.get(), &status) != 0 ? errno : 0;
    if (problem == 0 && S_ISDIR(status.st_mode)) problem = EISDIR;
    if (problem == 0) return file;
    error = "cannot read " + path + ": " + std::strerror(problem);
    return base::Descriptor();
}

bool readArgument(const Argument& argument, Group& group, std::string& error) {
    const base::Descriptor file = open(argument.m_path, error);
    if (!file.isOpen()) return false;
    return readAutomationFile(file.get(), argument, group, error);
}

}  // namespace

Argument parseArgument(const std::string& word) {
    if (exists(word)) return {word, word, std::nullopt};
    for (std::size_t colon = word.find(':'); colon != std::string::npos; colon = word.find(':', colon + 1))
        if (std::string path = word.substr(0, colon); exists(path))
            return {word, std::move(path), word.substr(colon + 1)};
    return {word, word, std::nullopt};
}

bool readGroup(const std::vector<std::string>& words, Group& group, std::string& error) {
    for (const std::string& word : words)
        if (!readArgument(parseArgument(word), group, error)) return false;
    return true;
}

}  // namespace host::compare
