#include "host/base/status_line.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>

namespace host::base {

namespace {

// Of standard error; any width if it is no terminal.
std::size_t widthOfTerminal() {
    winsize size{};
    if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col < 2) return 1000;
    return size.ws_col;
}

}  // namespace

void StatusLine::show(std::string_view text) {
    std::string line(text.substr(0, widthOfTerminal() - 1));
    const std::size_t length = line.size();
    line.resize(std::max(length, m_shown), ' ');
    m_shown = length;
    std::fprintf(stderr, "\r%s", line.c_str());
    std::fflush(stderr);
}

void StatusLine::keep() {
    if (m_shown > 0) std::fputs("\n", stderr);
    m_shown = 0;
}

void StatusLine::clear() {
    if (m_shown > 0) std::fputs("\r\033[K", stderr);
    m_shown = 0;
}

}  // namespace host::base
