#pragma once

#include <array>
#include <csignal>

namespace host::base {

// While it lives, SIGINT, SIGTERM and SIGHUP ask the process to come to an end instead of killing it. A
// second signal of the same kind kills. One that was ignored when the program started stays ignored, as those
// of a background job are. There is one at a time.
class StopSignal {
public:
    StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;
    ~StopSignal();

    // True once a signal has come.
    bool isRequested() const { return s_signal != 0; }

    // The name of the signal that has come, as "SIGINT".
    const char* name() const;

    // Becomes readable when a signal comes, so that a wait for something else can be ended by it. -1 if there
    // is none.
    int descriptor() const { return s_pipe[0]; }

private:
    static void handle_i(int signal);

    static constexpr std::array<int, 3> SIGNALS{SIGINT, SIGTERM, SIGHUP};
    static volatile std::sig_atomic_t s_signal;
    static int s_pipe[2];
    std::array<struct sigaction, SIGNALS.size()> m_old;
};

}  // namespace host::base
