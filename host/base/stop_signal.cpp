#include "host/base/stop_signal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "host/base/inherited.h"

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
    for (std::size_t i = 0; i < SIGNALS.size(); ++i) {
        const bool isIgnored = Inherited::get().isIgnored(SIGNALS[i]);
        ::sigaction(SIGNALS[i], isIgnored ? nullptr : &action, &m_old[i]);
    }
}

StopSignal::~StopSignal() {
    for (std::size_t i = 0; i < SIGNALS.size(); ++i) ::sigaction(SIGNALS[i], &m_old[i], nullptr);
    for (int& end : s_pipe) {
        if (end >= 0) ::close(end);
        end = -1;
    }
}

const char* StopSignal::name() const {
    return s_signal == SIGTERM ? "SIGTERM" : s_signal == SIGHUP ? "SIGHUP" : "SIGINT";
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
