#pragma once

#include <chrono>
#include <cstdint>

#include "host/base/status_line.h"

namespace host::cli {

// Reports on standard error how far a run has come, a few times a second, in one line that is overwritten and
// is no wider than the terminal.
class Progress {
public:
    // `total` is the number of bytes to come, 0 if unknown.
    Progress(bool isShown, std::uint64_t total);

    // To be called often; mostly does nothing.
    void update(std::uint64_t bytes, std::uint64_t lines);

    // Leaves the last state on a line of its own.
    void finish(std::uint64_t bytes, std::uint64_t lines);

private:
    void show_i(std::uint64_t bytes, std::uint64_t lines);

    bool m_isShown;
    std::uint64_t m_total;
    base::StatusLine m_line;
    std::uint64_t m_calls = 0;
    std::chrono::steady_clock::time_point m_next;
};

}  // namespace host::cli
