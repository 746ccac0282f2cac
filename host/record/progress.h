// What the user sees while a collection goes on.
#pragma once

#include <cstdint>

namespace host::record {

// On a terminal one line that is written over and over; elsewhere a line for each ten seconds.
class Progress {
public:
    // `wantedSeconds` is the planned length, 0 for no end. Shows nothing unless `shown`.
    Progress(bool shown, double wantedSeconds);
    ~Progress();

    void update(double elapsedSeconds, std::uint64_t samples);

    // Leaves the line behind, so that other text can follow.
    void clear();

private:
    bool m_shown;
    bool m_isTerminal;
    double m_wanted;
    double m_next = 0.0;  // seconds at which it is shown again
    bool m_lineOpen = false;
};

}  // namespace host::record
