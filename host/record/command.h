// A program that is run while the machine is measured.
#pragma once

#include <sys/resource.h>
#include <sys/types.h>

#include <chrono>
#include <csignal>
#include <optional>
#include <string>
#include <vector>

#include "host/emit/report.h"

namespace host::record {

class Command {
public:
    static constexpr int NOT_FOUND = 127;
    static constexpr int NOT_EXECUTABLE = 126;

    // The program, found as a shell does, and its arguments; at least one word.
    explicit Command(std::vector<std::string> words) : m_words(std::move(words)) {}

    // 0, or why the program can't be executed, which is reported: one of the two above.
    int check() const;

    // Starts it with what this process was given itself. Returns as check does. SIGCHLD must be blocked.
    int start();

    // Deals with a signal that has come. Those that a terminal sends have reached the command, too; others
    // are passed on. Returns true if the command has ended.
    bool take(const siginfo_t& signal);

    // Waits for its end, however long that takes.
    void wait();

    // Its exit status, or 128 and the number of the signal that killed it. After its end.
    int status() const;

    // The command as a line of the report's head, and what it used as a table.
    void report(emit::Report& report) const;

private:
    bool poll_i(int options);
    std::string text_i() const;

    std::vector<std::string> m_words;
    pid_t m_pid = 0;
    std::chrono::steady_clock::time_point m_start;
    double m_seconds = 0.0;           // from start to end
    std::optional<int> m_waitStatus;  // as the kernel gives it
    rusage m_usage{};
};

}  // namespace host::record
