#include "host/session/input_feeder.h"

#include <unistd.h>

#include <cstring>
#include <new>

#include "host/base/complain.h"
#include "host/model/files.h"

namespace host::session {

InputFeeder::InputFeeder(stream::StreamReader& reader, const base::StopSignal& stop, bool isForgiving)
    : m_reader(reader), m_stop(stop), m_isForgiving(isForgiving) {}

bool InputFeeder::feed(const std::string& name, std::uint64_t number, std::string_view text) {
    m_bytes += text.size();
    ++m_lines;
    if (m_watcher) m_watcher(m_bytes, m_lines);
    return judge_i(name, number, m_reader.line(text, number));
}

bool InputFeeder::feedStream(const std::string& name, int descriptor) {
    stream::LineSource source(descriptor, &m_stop);
    bool isMoreWanted = false;
    try {
        isMoreWanted = readLines_i(name, source);
    } catch (const std::bad_alloc&) {
        base::complain("not enough memory to read on after " + name + ":" +
                       std::to_string(source.lineNumber()));
        fail();
    }
    if (source.error() == 0) return isMoreWanted;
    base::complain("cannot read the stream " + name + ": " + std::strerror(source.error()));
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
        const bool isGoodLine = m_reader.lineInPlace(text, size, source.lineNumber());
        if (!judge_i(name, source.lineNumber(), isGoodLine)) return false;
    }
    return !m_stop.isRequested();
}

bool InputFeeder::judge_i(const std::string& name, std::uint64_t number, bool isGoodLine) {
    if (isGoodLine) return !m_stop.isRequested();
    fail();
    const std::string report = name + ":" + std::to_string(number) + ": " + m_reader.error() + "\n";
    model::writeAll(STDERR_FILENO, report.data(), report.size());
    return m_isForgiving && !m_stop.isRequested();
}

}  // namespace host::session
