#include "host/base/stop_signal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace host::base {

volatile std::sig_atomic_t StopSignal::s_signal = 0;
int StopSignal::s_pipe[2] = {-1, -1};

StopSignal::StopSignal() {
    s_signal = 0;
    if (::pipe2(s_pipe, O_CLOEXEC | O_NONBLOCK) != 0) s_pipe[0] = s_pipe[1] = -1;
    struct sigaction action {};
    action.sa_handler = handle_i;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    ::sigaction(SIGINT, &action, &m_oldInterrupt);
    ::sigaction(SIGTERM, &action, &m_oldTerminate);
}

StopSignal::~StopSignal() {
    ::sigaction(SIGINT, &m_oldInterrupt, nullptr);
    ::sigaction(SIGTERM, &m_oldTerminate, nullptr);
    for (int& end : s_pipe) {
        if (end >= 0) ::close(end);
        end = -1;
    }
}

const char* StopSignal::name() const {
    return s_signal == SIGTERM ? "SIGTERM" : "SIGINT";
}

void StopSignal::handle_i(int signal) {
    const int error = errno;
    s_signal = signal;
    const char wake = 0;
    // If the pipe is full it is readable already.
    if (::write(s_pipe[1], &wake, 1) < 0) errno = error;
    errno = error;
}

}  // namespace host::base
