// The end of a run for the user: which files there are.
#include <unistd.h>

#include <algorithm>

#include "host/base/transfer.h"
#include "host/session/run.h"

namespace host::session {

namespace {

// A continuous run can make any number of files.
constexpr std::size_t FILES_LISTED = 100;

std::string leftAligned(const std::string& text, std::size_t width) {
    return text + std::string(width > text.size() ? width - text.size() : 0, ' ');
}

std::string rightAligned(const std::string& text, std::size_t width) {
    return std::string(width > text.size() ? width - text.size() : 0, ' ') + text;
}

}  // namespace

void Run::listFiles_i() const {
    if (m_options.m_isQuiet || m_isToStandardOutput) return;
    const auto made = m_environment->results().made();
    const std::size_t listed = std::min(made.size(), FILES_LISTED);
    std::size_t nameWidth = 0;
    std::size_t sizeWidth = 0;
    for (std::size_t i = 0; i < listed; ++i) {
        nameWidth = std::max(nameWidth, made[i].path.size());
        sizeWidth = std::max(sizeWidth, std::to_string(made[i].size).size());
    }
    std::string text = made.empty() ? "" : "pwrhost: files:\n";
    for (std::size_t i = 0; i < listed; ++i)
        text += "  " + leftAligned(made[i].path, nameWidth) + "  " +
                rightAligned(std::to_string(made[i].size), sizeWidth) + " bytes\n";
    if (made.size() > listed) text += "  and " + std::to_string(made.size() - listed) + " more\n";
    base::writeAll(STDERR_FILENO, text);
}

}  // namespace host::session
