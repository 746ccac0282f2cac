#include "host/cli/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace host::cli {

namespace {

constexpr std::uint64_t CALLS_PER_CLOCK = 256;
constexpr std::chrono::milliseconds PERIOD(200);

// Of standard error; any width if it is no terminal.
int widthOfTerminal() {
    winsize size{};
    if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col < 2) return 1000;
    return size.ws_col;
}

}  // namespace

Progress::Progress(bool isShown, std::uint64_t total)
    : m_isShown(isShown), m_total(total), m_next(std::chrono::steady_clock::now() + PERIOD) {}

void Progress::update(std::uint64_t bytes, std::uint64_t lines) {
    if (!m_isShown || ++m_calls % CALLS_PER_CLOCK != 0) return;
    const auto now = std::chrono::steady_clock::now();
    if (now < m_next) return;
    m_next = now + PERIOD;
    show_i(bytes, lines, "");
}

void Progress::finish(std::uint64_t bytes, std::uint64_t lines) {
    if (m_isShown) show_i(bytes, lines, "\n");
}

void Progress::show_i(std::uint64_t bytes, std::uint64_t lines, const char* end) {
    const double megabytes = static_cast<double>(bytes) / 1e6;
    const auto count = static_cast<unsigned long long>(lines);
    char text[100];
    int length = 0;
    if (m_total > 0) {
        const double percent = 100.0 * static_cast<double>(bytes) / static_cast<double>(m_total);
        length = std::snprintf(text, sizeof text, "%3.0f %%, %.1f MB, %llu lines", percent, megabytes, count);
    } else {
        length = std::snprintf(text, sizeof text, "%.1f MB, %llu lines", megabytes, count);
    }
    // What a terminal wraps cannot be overwritten.
    std::fprintf(stderr, "\r%.*s%s", std::min(length, widthOfTerminal() - 1), text, end);
    std::fflush(stderr);
}

}  // namespace host::cli
