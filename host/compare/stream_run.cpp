#include "host/compare/stream_run.h"

#include <cstring>

#include "host/compare/glob.h"
#include "host/compare/run_statistics.h"
#include "host/model/registry.h"
#include "host/stream/stream_reader.h"

namespace host::compare {

namespace {

std::string outputNameOf(const std::string& path) {
    const std::string file = path.substr(path.rfind('/') + 1);
    return file.substr(0, file.find('.', 1));
}

// Gives the registry back, whichever way the reading ends.
struct CleanRegistry {
    CleanRegistry() { model::Registry::reset(); }
    ~CleanRegistry() { model::Registry::reset(); }
};

bool readLines(char* text, std::size_t size, stream::LineSource& source, stream::StreamReader& reader,
               const Argument& argument, std::string& error) {
    do {
        if (reader.lineInPlace(text, size, source.lineNumber())) continue;
        error = argument.m_path + ":" + std::to_string(source.lineNumber()) + ": " + reader.error();
        return false;
    } while (source.next(text, size));
    if (source.error() != 0) error = "cannot read " + argument.m_path + ": " + std::strerror(source.error());
    return source.error() == 0;
}

}  // namespace

bool readStream(char* text, std::size_t size, stream::LineSource& source, const Argument& argument,
                Group& group, std::string& error) {
    if (argument.m_glob && !matches(*argument.m_glob, outputNameOf(argument.m_path))) {
        error = argument.m_word + ": no run has a name that matches";
        return false;
    }
    if (!group.hasRoom(argument, error)) return false;
    const CleanRegistry registry;
    RunStatistics statistics;
    stream::StreamReader reader(statistics);
    if (!readLines(text, size, source, reader, argument, error)) return false;
    if (!statistics.isRun()) {
        error = argument.m_word + ": no run, the stream has no system message";
        return false;
    }
    statistics.finish(group.m_runs.emplace_back());
    return true;
}

}  // namespace host::compare
