#include "host/record/command.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "host/base/complain.h"
#include "host/base/descriptor.h"
#include "host/base/inherited.h"
#include "host/base/pipe.h"
#include "host/base/text.h"

namespace host::record {

namespace {

// 0, or the reason for which the file can't be executed.
int reasonAgainst(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return errno;
    if (!S_ISREG(status.st_mode)) return EACCES;
    return ::access(path.c_str(), X_OK) == 0 ? 0 : errno;
}

// As execvp looks for a program.
int searchPath(const std::string& name) {
    if (name.empty()) return ENOENT;
    if (name.find('/') != std::string::npos) return reasonAgainst(name);
    const char* const folders = std::getenv("PATH");
    std::string_view left = folders != nullptr ? folders : "/bin:/usr/bin";
    int reason = ENOENT;
    for (;;) {
        const std::size_t colon = left.find(':');
        const std::string folder(left.substr(0, colon));
        const int found = reasonAgainst((folder.empty() ? "." : folder) + "/" + name);
        if (found == 0) return 0;
        if (found == EACCES) reason = EACCES;
        if (colon == std::string_view::npos) return reason;
        left.remove_prefix(colon + 1);
    }
}

int warn(const std::string& name, int reason) {
    base::complain("cannot execute " + name + ": " + std::strerror(reason));
    return reason == ENOENT || reason == ENOTDIR ? Command::NOT_FOUND : Command::NOT_EXECUTABLE;
}

double secondsOf(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

}  // namespace

int Command::check() const {
    const int reason = searchPath(m_words.front());
    return reason == 0 ? 0 : warn(m_words.front(), reason);
}

int Command::start() {
    std::vector<char*> words;
    words.reserve(m_words.size() + 1);
    for (std::string& word : m_words) words.push_back(word.data());
    words.push_back(nullptr);
    // What an ignored signal leaves behind can't be waited for.
    std::signal(SIGCHLD, SIG_DFL);
    base::Pipe pipe;
    if (!pipe.open()) return warn(m_words.front(), errno);
    m_start = std::chrono::steady_clock::now();
    m_pid = ::fork();
    if (m_pid == 0) {
        base::Inherited::get().restore();
        ::execvp(words[0], words.data());
        const int reason = errno;
        if (::write(pipe.writing.get(), &reason, sizeof reason) < 0) ::_exit(NOT_EXECUTABLE);
        ::_exit(NOT_FOUND);
    }
    if (m_pid < 0) return warn(m_words.front(), errno);
    pipe.writing = base::Descriptor();
    int reason = 0;
    ssize_t length = 0;
    while ((length = ::read(pipe.reading.get(), &reason, sizeof reason)) < 0 && errno == EINTR) {
    }
    if (length <= 0) return 0;
    wait();
    return warn(m_words.front(), reason);
}

bool Command::poll_i(int options) {
    int status = 0;
    if (m_waitStatus) return true;
    if (::wait4(m_pid, &status, options, &m_usage) != m_pid) return false;
    m_waitStatus = status;
    m_seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
    return true;
}

bool Command::take(const siginfo_t& signal) {
    if (signal.si_signo == SIGCHLD) return poll_i(WNOHANG);
    const bool isOfTerminal =
        (signal.si_signo == SIGINT || signal.si_signo == SIGQUIT) && signal.si_code == SI_KERNEL;
    if (!isOfTerminal && !m_waitStatus) ::kill(m_pid, signal.si_signo);
    return false;
}

void Command::wait() {
    while (m_pid > 0 && !poll_i(0) && errno == EINTR) {
    }
}

int Command::status() const {
    const int status = m_waitStatus.value_or(0);
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

std::string Command::text_i() const {
    std::string text;
    for (const std::string& word : m_words) text += (text.empty() ? "" : " ") + word;
    // Of scripts that stand in an argument: it is to be one line.
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

void Command::report(emit::Report& report) const {
    constexpr emit::Id container = 0x7FFFFFFF;  // no metric's
    const int signal = WIFSIGNALED(m_waitStatus.value_or(0)) ? WTERMSIG(*m_waitStatus) : 0;
    const std::string& path = m_words.front();
    const std::string name = path.substr(path.rfind('/') + 1);
    report.header("Command: " + text_i());
    report.section({container, "command", "Command", ""});
    report.table("Command Summary",
                 {"Process", "Exit Status", "Signal", "Wall Time (s)", "User Time (s)", "System Time (s)",
                  "Maximum Resident Size (KiB)", "Page Faults", "Context Switches"});
    report.row({name + " (" + std::to_string(m_pid) + ")", std::to_string(status()), std::to_string(signal),
                base::fixedText(m_seconds, 3), base::fixedText(secondsOf(m_usage.ru_utime), 3),
                base::fixedText(secondsOf(m_usage.ru_stime), 3), std::to_string(m_usage.ru_maxrss),
                std::to_string(m_usage.ru_minflt + m_usage.ru_majflt),
                std::to_string(m_usage.ru_nvcsw + m_usage.ru_nivcsw)});
}

}  // namespace host::record
