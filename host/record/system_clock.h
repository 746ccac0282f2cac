// The machine's time stamp counter, and a sleep that SIGINT, SIGTERM and SIGHUP end.
#pragma once

#include <csignal>
#include <optional>

#include "host/base/descriptor.h"
#include "host/record/clock.h"
#include "host/record/command.h"
#include "host/record/sample_file.h"
#include "host/record/suspend_watch.h"

namespace host::record {

// Blocks these signals while it lives, so that none is lost between two sleeps; one that was ignored when the
// program started stays ignored.
class SystemClock : public Clock {
public:
    // Takes the frequency from the kernel if it gives it, else measures it, which takes 50 ms.
    // While a command runs, signals are the command's to deal with, and its end is what a sleep ends with.
    explicit SystemClock(const Root& root, Command* command = nullptr);
    SystemClock(const SystemClock&) = delete;
    SystemClock& operator=(const SystemClock&) = delete;
    ~SystemClock() override;

    std::uint64_t ticks() override;
    double ticksPerUsec() const override { return m_ticksPerUsec; }
    std::int64_t wallNanoseconds() override;
    bool waitUntil(std::uint64_t ticks) override;
    void wakeOn(int descriptor) override;
    std::string interruption() const override;
    std::uint64_t takeSuspendedTicks() override;
    std::uint64_t cpuUsec() override;

private:
    SuspendWatch::Reading read_i() const;
    int takeSignal_i(siginfo_t& signal, const timespec& timeout, bool& isReadable) const;

    double m_ticksPerUsec = 0.0;
    Command* const m_command;
    bool m_isCommandOver = false;
    const bool m_sees;  // whether it is the clocked machine's sleep that matters
    std::optional<SuspendWatch> m_watch;
    sigset_t m_ending;    // the signals that end the collection
    sigset_t m_previous;  // the mask to go back to
    int m_signal = 0;     // the one that came
    int m_wakeOn = -1;
    base::Descriptor m_signals;  // readable when one has come
};

}  // namespace host::record
