#include "host/base/complain.h"

#include <sys/uio.h>
#include <unistd.h>

namespace host::base {

void complain(std::string_view text) {
    const auto piece = [](std::string_view part) {
        return iovec{const_cast<char*>(part.data()), part.size()};
    };
    const iovec line[] = {piece("pwrhost: "), piece(text), piece("\n")};
    // There is nobody left to tell if this fails.
    [[maybe_unused]] const ssize_t written = ::writev(STDERR_FILENO, line, 3);
}

}  // namespace host::base
