// What the user sees while a collection goes on.
#pragma once

#include <cstdint>

#include "host/base/status_line.h"

namespace host::record {

// On a terminal one line that is written over and over; elsewhere a line for each ten seconds.
class Progress {
public:
    // `wantedSeconds` is the planned length, 0 for no end. Shows nothing unless `shown`.
    Progress(bool shown, double wantedSeconds);
    void update(double elapsedSeconds, std::uint64_t samples);

    // Removes the line, so that other text can follow.
    void clear() { m_line.clear(); }

private:
    bool m_shown;
    bool m_isTerminal;
    double m_wanted;
    double m_next = 0.0;  // seconds at which it is shown again
    base::StatusLine m_line;
};

}  // namespace host::record
