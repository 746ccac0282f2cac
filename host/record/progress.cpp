#include "host/record/progress.h"

#include <unistd.h>

#include <cstdio>

namespace host::record {

Progress::Progress(bool shown, double wantedSeconds)
    : m_shown(shown), m_isTerminal(isatty(STDERR_FILENO) == 1), m_wanted(wantedSeconds) {
    m_next = m_isTerminal ? 0.0 : 10.0;
}

void Progress::update(double elapsedSeconds, std::uint64_t samples) {
    if (!m_shown || elapsedSeconds < m_next) return;
    m_next = elapsedSeconds + (m_isTerminal ? 0.5 : 10.0);
    char planned[40] = "";
    if (m_wanted > 0) std::snprintf(planned, sizeof planned, " of %.1f", m_wanted);
    char text[120];
    std::snprintf(text, sizeof text, "collecting: %.1f%s s, %llu samples", elapsedSeconds, planned,
                  static_cast<unsigned long long>(samples));
    if (m_isTerminal)
        m_line.show(text);
    else
        std::fprintf(stderr, "%s\n", text);
}

}  // namespace host::record
