#include "json/document_sink.h"

#include <cerrno>
#include <cstring>

#include "plugins/log.h"

DocumentSink::DocumentSink() : m_buffer(nullptr, DRAIN_SIZE + 4096), m_writer(m_buffer) {}

bool DocumentSink::open(const std::string& path) {
    m_path = path;
    m_file.open(path, std::ios::binary | std::ios::trunc);
    return m_file.is_open();
}

void DocumentSink::noteFailure_i() {
    if (m_error == 0) m_error = errno != 0 ? errno : EIO;
}

void DocumentSink::drain_i() {
    errno = 0;
    if (!hasFailed() && !m_file.write(m_buffer.GetString(), static_cast<std::streamsize>(m_buffer.GetSize())))
        noteFailure_i();
    m_buffer.Clear();
}

bool DocumentSink::finish() {
    m_buffer.Put('\n');
    drain_i();
    errno = 0;
    m_file.close();
    if (!m_file) noteFailure_i();
    if (hasFailed()) LOG_ERROR("Could not complete %s: %s\n", m_path.c_str(), std::strerror(m_error));
    return !hasFailed();
}
