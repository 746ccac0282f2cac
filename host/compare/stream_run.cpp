#include "host/compare/stream_run.h"

#include "host/compare/glob.h"
#include "host/model/registry.h"

namespace host::compare {

namespace {

std::string outputNameOf(const std::string& path) {
    const std::string file = path.substr(path.rfind('/') + 1);
    return file.substr(0, file.find('.', 1));
}

}  // namespace

StreamRun::CleanRegistry::CleanRegistry() {
    model::Registry::reset();
}

StreamRun::CleanRegistry::~CleanRegistry() {
    model::Registry::reset();
}

StreamRun::StreamRun(const Argument& argument) : m_argument(argument), m_reader(m_statistics) {}

StreamRun::~StreamRun() = default;

bool StreamRun::lineInPlace(char* text, std::size_t size, std::uint64_t number) {
    return judge_i(m_reader.lineInPlace(text, size, number), number);
}

bool StreamRun::line(std::string_view text, std::uint64_t number) {
    return judge_i(m_reader.line(text, number), number);
}

bool StreamRun::judge_i(bool isGood, std::uint64_t number) {
    if (!isGood) m_error = m_argument.m_path + ":" + std::to_string(number) + ": " + m_reader.error();
    return isGood;
}

bool StreamRun::finish(Group& group) {
    if (!m_statistics.isRun()) {
        m_error = m_argument.m_word + ": no run, as there is no system message";
    } else if (m_argument.m_glob && !matches(*m_argument.m_glob, outputNameOf(m_argument.m_path))) {
        m_error = m_argument.m_word + ": no run has a name that matches";
    } else if (group.hasRoom(m_argument, m_error)) {
        m_statistics.finish(group.m_runs.emplace_back());
        return true;
    }
    return false;
}

}  // namespace host::compare
