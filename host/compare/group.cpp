#include "host/compare/group.h"

#include <sys/stat.h>

#include <string_view>

#include "host/compare/automation_reader.h"
#include "host/compare/stream_run.h"
#include "host/stream/line_source.h"

namespace host::compare {

namespace {

bool exists(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0;
}

constexpr std::string_view BLANKS = " \t\r";

// True if a file whose first line with content is this one is a message stream.
bool isStream(std::string_view line) {
    const char first = line[line.find_first_not_of(BLANKS)];
    return first == '{' || first == '#';
}

bool readStream(char* text, std::size_t size, stream::LineSource& source, const Argument& argument,
                Group& group, std::string& error) {
    StreamRun run(argument);
    bool isGood = true;
    do {
        isGood = run.lineInPlace(text, size, source.lineNumber());
    } while (isGood && source.next(text, size));
    if (isGood && source.error().empty() && run.finish(group)) return true;
    error = source.error().empty() ? run.error() : "cannot read " + argument.m_path + ": " + source.error();
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

bool readGroup(const std::vector<std::string>& words, const ReadArgument& read, Group& group,
               std::string& error) {
    for (const std::string& word : words)
        if (!read(parseArgument(word), group, error)) return false;
    return true;
}

bool readContent(base::ByteSource& content, const Argument& argument, Group& group, std::string& error) {
    stream::LineSource source(content);
    char* text = nullptr;
    std::size_t size = 0;
    while (source.next(text, size)) {
        const std::string_view line(text, size);
        if (line.find_first_not_of(BLANKS) == std::string_view::npos) continue;
        return isStream(line) ? readStream(text, size, source, argument, group, error)
                              : readAutomationFile(line, source, argument, group, error);
    }
    error = source.error().empty() ? argument.m_word + ": no run, the file is empty"
                                   : "cannot read " + argument.m_path + ": " + source.error();
    return false;
}

}  // namespace host::compare
