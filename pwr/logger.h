#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <vector>

#include "pwr/api.h"

namespace pwr {

// A sink of the host: one of its logs, or the handle of an output file of a continuous run. It can also be
// written to as a stream.
class PWR_HOST_API Logger : public std::ostream {
public:
    // Takes a complete line that ends in a newline. `level` is 0 (fatal, notes to the user), 1 (error),
    // 2 (warning), 3 (debug) or 4 (info). The text is not kept.
    virtual void log(std::int32_t level, const char* text);

    // Ends what this handle stands for. Called on the handle for the empty name when a continuous run ends.
    // Returns 0 on success.
    virtual std::int32_t finish();

    // Writes m_buffer to the handle's file. The caller then empties m_buffer and sets m_writeCount to 0.
    virtual void flush();

    // Closes the handle's file; a later flush opens it again.
    virtual void close();

    std::vector<char> m_buffer;  // of a file handle: bytes to write, appended by writers
    std::size_t m_writeCount;    // of a file handle: the host's count of writes to m_buffer

protected:
    Logger();
    ~Logger() override;
};

}  // namespace pwr
