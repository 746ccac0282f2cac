#include "host/base/descriptor_bytes.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace host::base {

std::size_t DescriptorBytes::read(char* to, std::size_t size) {
    while (m_error.empty() && waitForInput_i()) {
        const ssize_t got = ::read(m_descriptor, to, size);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) m_error = std::strerror(errno);
        if (got <= 0) return 0;
        m_bytesRead += static_cast<std::uint64_t>(got);
        return static_cast<std::size_t>(got);
    }
    return 0;
}

// Returns false if a stop was requested while nothing came.
bool DescriptorBytes::waitForInput_i() const {
    if (m_stop == nullptr || m_stop->descriptor() < 0) return !isStopped_i();
    pollfd waits[2] = {{m_descriptor, POLLIN, 0}, {m_stop->descriptor(), POLLIN, 0}};
    while (::poll(waits, 2, -1) < 0 && errno == EINTR && !isStopped_i()) continue;
    return !isStopped_i();
}

}  // namespace host::base
