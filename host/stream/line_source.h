#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "host/base/byte_source.h"
#include "host/base/stop_signal.h"

namespace host::stream {

// Splits what a source delivers into lines. Memory is bounded by the longest line.
class LineSource {
public:
    // `bytes` must outlive this object. Reading ends early once `stop`, which may be null, is requested.
    explicit LineSource(base::ByteSource& bytes, const base::StopSignal* stop = nullptr);

    // Gets the next line: `text`, without its newline, is valid until the next call, may be changed and has
    // JsonLine::PADDING writable bytes after it. Returns false at the end, after an error and when stopped;
    // an incomplete line is then left out, unless the file simply ends with it.
    bool next(char*& text, std::size_t& size);

    std::uint64_t lineNumber() const { return m_lineNumber; }  // of the line last got, from 1
    std::uint64_t bytesRead() const { return m_bytes.bytesRead(); }
    const std::string& error() const { return m_bytes.error(); }  // why a read failed; empty if none did

private:
    bool fill_i();
    bool isStopped_i() const { return m_stop != nullptr && m_stop->isRequested(); }

    base::ByteSource& m_bytes;
    const base::StopSignal* m_stop;
    std::vector<char> m_buffer;
    std::size_t m_begin = 0;    // of what has not been handed out
    std::size_t m_scanned = 0;  // from m_begin up to here there is no newline
    std::size_t m_end = 0;      // of what has been read
    std::uint64_t m_lineNumber = 0;
    bool m_isAtEnd = false;
};

}  // namespace host::stream
