#include "host/model/loggers.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/model/files.h"

namespace host::model {

UnbufferedStream::int_type UnbufferedStream::overflow(int_type character) {
    if (traits_type::eq_int_type(character, traits_type::eof())) return traits_type::not_eof(character);
    const char text = traits_type::to_char_type(character);
    return m_logger.write(&text, 1) ? character : traits_type::eof();
}

std::streamsize UnbufferedStream::xsputn(const char* text, std::streamsize count) {
    return m_logger.write(text, static_cast<std::size_t>(count)) ? count : 0;
}

DescriptorLogger::DescriptorLogger(int descriptor) : m_descriptor(descriptor), m_streamBuffer(*this) {
    rdbuf(&m_streamBuffer);
}

DescriptorLogger::~DescriptorLogger() = default;

void DescriptorLogger::log(std::int32_t, const char* text) {
    write(text, std::strlen(text));
}

bool DescriptorLogger::write(const char* text, std::size_t size) {
    const int error = writeAll(m_descriptor, text, size);
    if (m_error == 0) m_error = error;
    return m_error == 0;
}

}  // namespace host::model

namespace pwr {

Logger::Logger() : std::ostream(nullptr), m_writeCount(0) {}
Logger::~Logger() = default;

void Logger::log(std::int32_t, const char*) {}

std::int32_t Logger::finish() {
    return 0;
}

void Logger::flush() {}

void Logger::close() {}

}  // namespace pwr
