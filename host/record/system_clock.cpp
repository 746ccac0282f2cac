#include "host/record/system_clock.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <time.h>
#include <x86intrin.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>

#include "host/base/inherited.h"

namespace host::record {

namespace {

constexpr std::int64_t NANOSECONDS = 1'000'000'000;

std::int64_t nanoseconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return now.tv_sec * NANOSECONDS + now.tv_nsec;
}

struct Reading {
    std::uint64_t ticks;
    std::int64_t nanoseconds;
};

// Both clocks at the same moment: the try that took the fewest ticks.
Reading readBoth() {
    Reading best{};
    std::uint64_t shortest = std::numeric_limits<std::uint64_t>::max();
    for (int i = 0; i < 20; ++i) {
        const std::uint64_t before = __rdtsc();
        const std::int64_t now = nanoseconds(CLOCK_MONOTONIC_RAW);
        const std::uint64_t taken = __rdtsc() - before;
        if (taken >= shortest) continue;
        shortest = taken;
        best = {before + taken / 2, now};
    }
    return best;
}

// In MHz, rounded to the kHz that the kernel counts in.
double measuredFrequency() {
    const Reading first = readBoth();
    const timespec pause{0, 50'000'000};
    clock_nanosleep(CLOCK_MONOTONIC, 0, &pause, nullptr);
    const Reading last = readBoth();
    const double usec = static_cast<double>(last.nanoseconds - first.nanoseconds) / 1000.0;
    return std::round(static_cast<double>(last.ticks - first.ticks) / usec * 1000.0) / 1000.0;
}

}  // namespace

SystemClock::SystemClock(const Root& root, Command* command)
    : m_command(command), m_sees(root.isThisMachine()) {
    sigemptyset(&m_ending);
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        if (!base::Inherited::get().isIgnored(number)) sigaddset(&m_ending, number);
    if (m_command != nullptr) {
        sigaddset(&m_ending, SIGCHLD);
        if (!base::Inherited::get().isIgnored(SIGQUIT)) sigaddset(&m_ending, SIGQUIT);
    }
    pthread_sigmask(SIG_BLOCK, &m_ending, &m_previous);
    m_signals = base::Descriptor(::signalfd(-1, &m_ending, SFD_CLOEXEC | SFD_NONBLOCK));

    // What ticks is this machine's counter, whatever a capture of another one tells.
    std::uint64_t kilohertz = 0;
    if (m_sees && SampleFile(root, "sys/devices/system/cpu/cpu0/tsc_freq_khz").readUnsigned(kilohertz) &&
        kilohertz > 0)
        m_ticksPerUsec = static_cast<double>(kilohertz) / 1000.0;
    else
        m_ticksPerUsec = measuredFrequency();
    if (m_sees) m_watch.emplace(m_ticksPerUsec, read_i());
}

SuspendWatch::Reading SystemClock::read_i() const {
    return {__rdtsc(), nanoseconds(CLOCK_BOOTTIME), nanoseconds(CLOCK_MONOTONIC)};
}

std::uint64_t SystemClock::takeSuspendedTicks() {
    if (!m_watch) return 0;
    m_watch->update(read_i());
    return m_watch->take();
}

std::uint64_t SystemClock::cpuUsec() {
    return static_cast<std::uint64_t>(nanoseconds(CLOCK_PROCESS_CPUTIME_ID) / 1000);
}

SystemClock::~SystemClock() {
    // A signal that came when the collection had ended already has nothing left to end.
    const timespec none{0, 0};
    while (sigtimedwait(&m_ending, nullptr, &none) > 0) {
    }
    pthread_sigmask(SIG_SETMASK, &m_previous, nullptr);
}

std::uint64_t SystemClock::ticks() {
    return __rdtsc() + (m_watch ? m_watch->offset() : 0);
}

std::int64_t SystemClock::wallNanoseconds() {
    return nanoseconds(CLOCK_REALTIME);
}

bool SystemClock::waitUntil(std::uint64_t ticks) {
    while (m_signal == 0 && !m_isCommandOver) {
        if (m_watch) m_watch->update(read_i());
        const std::uint64_t now = this->ticks();
        const double left = now < ticks ? static_cast<double>(ticks - now) / m_ticksPerUsec * 1000.0 : 0.0;
        const auto wait = static_cast<std::int64_t>(std::min(left, 3600.0 * 1e9));
        const timespec timeout{wait / NANOSECONDS, wait % NANOSECONDS};
        siginfo_t signal{};
        bool isReadable = false;
        const int number = takeSignal_i(signal, timeout, isReadable);
        if (number > 0 && m_command != nullptr)
            m_isCommandOver = m_command->take(signal);
        else if (number > 0)
            m_signal = number;
        if (number < 0 && (wait == 0 || isReadable)) return true;
    }
    return false;
}

void SystemClock::wakeOn(int descriptor) {
    m_wakeOn = descriptor;
}

// As sigtimedwait, which would lift the block of the signals while it waits: whoever starts the recorder
// could not see then whether it takes them. A wait that something to be read has ended returns -1 like one
// whose time is over.
int SystemClock::takeSignal_i(siginfo_t& signal, const timespec& timeout, bool& isReadable) const {
    if (!m_signals.isOpen()) return sigtimedwait(&m_ending, &signal, &timeout);
    constexpr timespec NONE{0, 0};
    pollfd files[] = {{m_signals.get(), POLLIN, 0}, {m_wakeOn, POLLIN, 0}};
    isReadable = ::ppoll(files, 2, &timeout, nullptr) > 0 && files[1].revents != 0;
    return sigtimedwait(&m_ending, &signal, &NONE);
}

std::string SystemClock::interruption() const {
    return m_signal == 0 ? "" : std::string("SIG") + sigabbrev_np(m_signal);
}

}  // namespace host::record
