#include "host/base/inherited.h"

#include <fcntl.h>
#include <unistd.h>

namespace host::base {

const Inherited& Inherited::get() {
    static const Inherited inherited;
    return inherited;
}

Inherited::Inherited() {
    for (std::size_t stream = 0; stream < m_open.size(); ++stream)
        m_open[stream] = ::fcntl(static_cast<int>(stream), F_GETFD) >= 0;
    pthread_sigmask(SIG_BLOCK, nullptr, &m_mask);
    for (int signal = 1; signal < SIGNALS; ++signal) {
        struct sigaction action {};
        m_ignored[static_cast<std::size_t>(signal)] =
            ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
    }
    ::getrlimit(RLIMIT_NOFILE, &m_files);
    // Not a number that a closed standard stream has left free.
    Descriptor folder(::open(".", O_PATH | O_DIRECTORY | O_CLOEXEC));
    m_folder = Descriptor(folder.isOpen() ? ::fcntl(folder.get(), F_DUPFD_CLOEXEC, 3) : -1);
}

bool Inherited::isIgnored(int signal) const {
    return m_ignored[static_cast<std::size_t>(signal)];
}

void Inherited::restore() const {
    for (int signal = 1; signal < SIGNALS; ++signal) {
        struct sigaction action {};
        action.sa_handler = isIgnored(signal) ? SIG_IGN : SIG_DFL;
        ::sigaction(signal, &action, nullptr);  // fails for those that nobody may change
    }
    ::setrlimit(RLIMIT_NOFILE, &m_files);
    if (m_folder.isOpen() && ::fchdir(m_folder.get()) != 0) ::_exit(126);
    for (std::size_t stream = 0; stream < m_open.size(); ++stream)
        if (!m_open[stream]) ::close(static_cast<int>(stream));
    pthread_sigmask(SIG_SETMASK, &m_mask, nullptr);
}

}  // namespace host::base
