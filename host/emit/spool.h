// Lines that wait for the end of the collection.
#pragma once

#include <string>
#include <string_view>

#include "host/base/descriptor.h"
#include "host/emit/line_sink.h"

namespace host::emit {

// Keeps lines in memory up to a window's size, and beyond that in a file without a name in the working
// directory, which vanishes with the process however it ends.
class Spool {
public:
    explicit Spool(std::size_t window = std::size_t{1} << 20) : m_window(window) {}

    // Adds a line. False when it could not be kept: error() says why, and nothing more is taken, so that what
    // is kept ends with a whole line.
    bool append(std::string_view line);

    // Hands out the lines in order until `sink` refuses one (then false, without an error) or the file can't
    // be read back.
    bool replay(const LineSink& sink);

    // Text for the user, empty while all is well.
    const std::string& error() const { return m_error; }

private:
    bool spill_i();
    bool fail_i(const char* what);

    std::size_t m_window;
    std::string m_pending;        // lines that are not in the file
    std::uint64_t m_written = 0;  // bytes in the file
    base::Descriptor m_file;
    std::string m_error;
};

}  // namespace host::emit
