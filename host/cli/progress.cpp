#include "host/cli/progress.h"

#include <cstdio>

namespace host::cli {

namespace {

constexpr std::uint64_t CALLS_PER_CLOCK = 256;
constexpr std::chrono::milliseconds PERIOD(200);

}  // namespace

Progress::Progress(bool isShown, std::uint64_t total)
    : m_isShown(isShown), m_total(total), m_next(std::chrono::steady_clock::now() + PERIOD) {}

void Progress::update(std::uint64_t bytes, std::uint64_t lines) {
    if (!m_isShown || ++m_calls % CALLS_PER_CLOCK != 0) return;
    const auto now = std::chrono::steady_clock::now();
    if (now < m_next) return;
    m_next = now + PERIOD;
    show_i(bytes, lines);
}

void Progress::finish(std::uint64_t bytes, std::uint64_t lines) {
    if (!m_isShown) return;
    show_i(bytes, lines);
    m_line.keep();
}

void Progress::show_i(std::uint64_t bytes, std::uint64_t lines) {
    const double megabytes = static_cast<double>(bytes) / 1e6;
    const auto count = static_cast<unsigned long long>(lines);
    char text[100];
    if (m_total > 0) {
        const double percent = 100.0 * static_cast<double>(bytes) / static_cast<double>(m_total);
        std::snprintf(text, sizeof text, "%3.0f %%, %.1f MB, %llu lines", percent, megabytes, count);
    } else {
        std::snprintf(text, sizeof text, "%.1f MB, %llu lines", megabytes, count);
    }
    m_line.show(text);
}

}  // namespace host::cli
