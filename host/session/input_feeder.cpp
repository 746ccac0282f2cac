#include "host/session/input_feeder.h"

#include <unistd.h>

#include <new>
#include <utility>

#include "host/base/complain.h"
#include "host/base/transfer.h"

namespace host::session {

InputFeeder::InputFeeder(stream::StreamReader& reader, const base::StopSignal& stop, bool isForgiving)
    : m_reader(reader), m_stop(stop), m_isForgiving(isForgiving) {}

bool InputFeeder::feedMade(std::string_view line, std::uint64_t bytes) {
    m_bytes = bytes;
    ++m_lines;
    if (m_watcher) m_watcher(m_bytes, m_lines);
    if (!m_reader.line(line, m_lines)) return false;
    if (m_keeper) m_keeper(line);
    return true;
}

bool InputFeeder::feedStream(const std::string& name, base::ByteSource& bytes, const std::string& doubt) {
    m_doubt = doubt;
    stream::LineSource source(bytes, &m_stop);
    bool isMoreWanted = false;
    try {
        isMoreWanted = readLines_i(name, source);
    } catch (const std::bad_alloc&) {
        base::complain("not enough memory to read on after " + name + ":" +
                       std::to_string(source.lineNumber()));
        fail();
    }
    if (source.error().empty()) return isMoreWanted;
    const std::string report = name + ": " + source.error() + "\n";
    base::writeAll(STDERR_FILENO, report);
    fail();
    return false;
}

bool InputFeeder::readLines_i(const std::string& name, stream::LineSource& source) {
    const std::uint64_t bytesBefore = m_bytes;
    char* text = nullptr;
    std::size_t size = 0;
    while (source.next(text, size)) {
        ++m_lines;
        m_bytes = bytesBefore + source.bytesRead();
        if (m_watcher) m_watcher(m_bytes, m_lines);
        if (m_keeper) m_kept.assign(text, size);
        const bool isGoodLine = m_reader.lineInPlace(text, size, source.lineNumber());
        if (m_keeper && isGoodLine) m_keeper(m_kept);
        if (!judge_i(name, source.lineNumber(), isGoodLine)) return false;
    }
    return !m_stop.isRequested();
}

bool InputFeeder::judge_i(const std::string& name, std::uint64_t number, bool isGoodLine) {
    if (isGoodLine) return !m_stop.isRequested();
    fail();
    const std::string report =
        name + ":" + std::to_string(number) + ": " + m_reader.error() + std::exchange(m_doubt, {}) + "\n";
    base::writeAll(STDERR_FILENO, report);
    return m_isForgiving && !m_stop.isRequested();
}

}  // namespace host::session
