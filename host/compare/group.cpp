#include "host/compare/group.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "host/base/descriptor.h"
#include "host/compare/automation_reader.h"
#include "host/compare/stream_run.h"
#include "host/stream/line_source.h"

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

constexpr std::string_view BLANKS = " \t\r";

// True if a file whose first line with content is this one is a message stream.
bool isStream(std::string_view line) {
    const char first = line[line.find_first_not_of(BLANKS)];
    return first == '{' || first == '#';
}

bool readArgument(const Argument& argument, Group& group, std::string& error) {
    const base::Descriptor file = open(argument.m_path, error);
    if (!file.isOpen()) return false;
    stream::LineSource source(file.get());
    char* text = nullptr;
    std::size_t size = 0;
    while (source.next(text, size)) {
        const std::string_view line(text, size);
        if (line.find_first_not_of(BLANKS) == std::string_view::npos) continue;
        return isStream(line) ? readStream(text, size, source, argument, group, error)
                              : readAutomationFile(line, source, argument, group, error);
    }
    error = source.error() == 0 ? argument.m_word + ": no run, the file is empty"
                                : "cannot read " + argument.m_path + ": " + std::strerror(source.error());
    return false;
}

}  // namespace

bool Group::hasRoom(const Argument& argument, std::string& error) const {
    if (m_runs.size() < MAX_RUNS) return true;
    error = argument.m_word + ": more than " + std::to_string(MAX_RUNS) + " runs in a group";
    return false;
}

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
