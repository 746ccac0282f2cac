#pragma once

#include <csignal>

namespace host::base {

// While it lives, SIGINT and SIGTERM ask the process to come to an end instead of killing it. A second signal
// of the same kind kills. There is one at a time.
class StopSignal {
public:
    StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;
    ~StopSignal();

    // True once a signal has come.
    bool isRequested() const { return s_signal != 0; }

    // The name of the signal that has come: "SIGINT" or "SIGTERM".
    const char* name() const;

    // Becomes readable when a signal comes, so that a wait for something else can be ended by it. -1 if there
    // is none.
    int descriptor() const { return s_pipe[0]; }

private:
    static void handle_i(int signal);

    static volatile std::sig_atomic_t s_signal;
    static int s_pipe[2];
    struct sigaction m_oldInterrupt;
    struct sigaction m_oldTerminate;
};

}  // namespace host::base
