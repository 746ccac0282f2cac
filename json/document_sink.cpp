#include "json/document_sink.h"

#include <cerrno>
#include <cstdio>
#include <utility>

DocumentSink::DocumentSink() : m_buffer(nullptr, DRAIN_SIZE + 4096), m_writer(m_buffer) {}

bool DocumentSink::open(const std::string& path) {
    m_path = path;
    m_file = openFile(path, "wb");
    if (m_file == nullptr) return false;
    // The text is gathered here already.
    std::setvbuf(m_file.get(), nullptr, _IONBF, 0);
    return true;
}

void DocumentSink::noteFailure_i() {
    if (m_error == 0) m_error = errno != 0 ? errno : EIO;
}

void DocumentSink::drain_i() {
    errno = 0;
    const std::size_t size = m_buffer.GetSize();
    if (!hasFailed() && std::fwrite(m_buffer.GetString(), 1, size, m_file.get()) != size) noteFailure_i();
    m_buffer.Clear();
}

bool DocumentSink::finish() {
    m_buffer.Put('\n');
    drain_i();
    return finishFile(std::move(m_file), m_path, m_error);
}
