// The host's sinks.
#pragma once

#include <cstdint>
#include <streambuf>
#include <string>

#include "pwr/logger.h"

namespace host::model {

// Hands every character on at once to the logger that owns it.
class UnbufferedStream : public std::streambuf {
public:
    explicit UnbufferedStream(class DescriptorLogger& logger) : m_logger(logger) {}

protected:
    int_type overflow(int_type character) override;
    std::streamsize xsputn(const char* text, std::streamsize count) override;

private:
    class DescriptorLogger& m_logger;
};

// A log that writes texts as given to a file descriptor, which stays the caller's.
class DescriptorLogger : public pwr::Logger {
public:
    explicit DescriptorLogger(int descriptor);
    ~DescriptorLogger() override;

    void log(std::int32_t level, const char* text) override;

    // Writes `size` bytes; returns false if that failed now or ever before.
    bool write(const char* text, std::size_t size);

    // The errno value of the first write that failed, or 0.
    int error() const { return m_error; }

private:
    int m_descriptor;
    int m_error = 0;
    UnbufferedStream m_streamBuffer;
};

}  // namespace host::model
