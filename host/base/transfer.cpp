#include "host/base/transfer.h"

#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <iterator>

namespace host::base {

int writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) return errno;
        if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

std::string readAll(int descriptor) {
    std::string text;
    char buffer[4096];
    for (;;) {
        const ssize_t size = ::read(descriptor, buffer, sizeof buffer);
        if (size < 0 && errno == EINTR) continue;
        if (size <= 0) return text;
        text.append(buffer, static_cast<std::size_t>(size));
    }
}

std::string fileText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace host::base
