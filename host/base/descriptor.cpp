#include "host/base/descriptor.h"

#include <unistd.h>

#include <utility>

namespace host::base {

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    if (this != &other) {
        if (m_number >= 0) ::close(m_number);
        m_number = other.release();
    }
    return *this;
}

Descriptor::~Descriptor() {
    if (m_number >= 0) ::close(m_number);
}

int Descriptor::release() {
    return std::exchange(m_number, -1);
}

}  // namespace host::base
