#include "host/session/run_log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <new>

#include "host/base/complain.h"
#include "host/base/transfer.h"

namespace host::session {

namespace {

constexpr std::int32_t FATAL = 0;
constexpr std::int32_t ERROR = 1;
constexpr std::int32_t LEVEL_OF_STREAMS = 2;  // of what is written to a sink as to a stream
constexpr std::size_t TIMES_SHOWN = 10;
constexpr std::size_t LINES_KNOWN = 10000;

std::string_view withoutLineEnd(std::string_view text) {
    if (text.ends_with('\n')) text.remove_suffix(1);
    return text;
}

}  // namespace

RunLog::Sink::Sink(RunLog& log, bool isForErrors) : m_log(log), m_isForErrors(isForErrors), m_lines(log) {
    rdbuf(&m_lines);
}

RunLog::Sink::~Sink() {
    m_lines.pubsync();
}

void RunLog::Sink::log(std::int32_t level, const char* text) {
    m_log.take_i(level, m_isForErrors, text);
}

RunLog::Sink::Lines::int_type RunLog::Sink::Lines::overflow(int_type character) {
    if (traits_type::eq_int_type(character, traits_type::eof())) return traits_type::not_eof(character);
    m_line.push_back(traits_type::to_char_type(character));
    if (m_line.back() == '\n') sync();
    return character;
}

std::streamsize RunLog::Sink::Lines::xsputn(const char* text, std::streamsize count) {
    for (std::streamsize i = 0; i < count; ++i) overflow(traits_type::to_int_type(text[i]));
    return count;
}

int RunLog::Sink::Lines::sync() {
    if (!m_line.empty()) m_log.take_i(LEVEL_OF_STREAMS, false, m_line);
    m_line.clear();
    return 0;
}

RunLog::RunLog(std::int32_t level) : m_level(level), m_errorSink(*this, true), m_infoSink(*this, false) {}

RunLog::~RunLog() {
    if (!m_isStarted) write_i(m_waiting);
}

bool RunLog::open(const std::string& path) {
    if (path.empty()) return true;
    m_file = base::Descriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666));
    return m_file.isOpen();
}

void RunLog::start() {
    struct stat status {};
    if (m_file.isOpen() && ::fstat(m_file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
        ::ftruncate(m_file.get(), 0) != 0)
        m_error = errno;
    m_isStarted = true;
    write_i(m_waiting);
    m_waiting.clear();
}

std::string RunLog::endKeeping() {
    m_isKeeping = false;
    std::string_view line = withoutLineEnd(m_kept);
    if (line.starts_with("WARNING: ")) line.remove_prefix(std::strlen("WARNING: "));
    std::string reason(line);
    m_kept.clear();
    return reason;
}

// Without memory for anything else a line is shown: no exception must leave a log.
void RunLog::take_i(std::int32_t level, bool isForErrors, std::string_view text) {
    if (m_level >= ERROR && (level == ERROR || (level <= FATAL && isForErrors))) ++m_errorLines;
    try {
        if (!m_isKeeping || level <= m_level) return show_i(text);
        if (m_kept.empty()) m_kept = text;
    } catch (const std::bad_alloc&) {
        write_i(text);
    }
}

void RunLog::show_i(std::string_view text) {
    if (!m_isStarted) {
        m_waiting += text;
    } else if (m_file.isOpen() || !isRepeat_i(text)) {
        write_i(text);
    }
}

// True if the line has been shown often enough.
bool RunLog::isRepeat_i(std::string_view text) {
    const std::size_t hash = std::hash<std::string_view>()(text);
    if (m_repeats.size() >= LINES_KNOWN && !m_repeats.contains(hash))
        std::erase_if(m_repeats, [](const auto& entry) { return entry.second.count <= TIMES_SHOWN; });
    Repeats& line = m_repeats[hash];
    if (++line.count <= TIMES_SHOWN) return false;
    if (line.count == TIMES_SHOWN + 1) {
        line.text = withoutLineEnd(text);
        m_repeated.push_back(hash);
    }
    return true;
}

void RunLog::tellRepeats() {
    for (const std::size_t hash : m_repeated) {
        const Repeats& line = m_repeats[hash];
        base::complain(std::to_string(line.count - TIMES_SHOWN) + " times more: " + line.text);
    }
    m_repeated.clear();
    m_repeats.clear();
}

void RunLog::write_i(std::string_view text) {
    const int descriptor = m_file.isOpen() ? m_file.get() : STDERR_FILENO;
    const int error = base::writeAll(descriptor, text);
    if (m_error == 0 && m_file.isOpen()) m_error = error;
}

}  // namespace host::session
