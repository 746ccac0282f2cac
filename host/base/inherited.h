#pragma once

#include <sys/resource.h>

#include <array>
#include <csignal>

#include "host/base/descriptor.h"

namespace host::base {

// What the process was given by the one that started it, before it changed anything for itself: signals, the
// limit of open files, the working directory, and which of the standard streams were open.
class Inherited {
public:
    // As it is at the first call, which belongs at the very start of the program.
    static const Inherited& get();

    bool isIgnored(int signal) const;

    // Gives all of it back, for a program that is executed next. Only calls what is allowed between fork and
    // exec.
    void restore() const;

private:
    Inherited();

    static constexpr int SIGNALS = 65;
    sigset_t m_mask;
    std::array<bool, SIGNALS> m_ignored{};
    rlimit m_files{};
    Descriptor m_folder;
    std::array<bool, 3> m_open{};
};

}  // namespace host::base
