#include "host/importers/input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "host/importers/decompressed_bytes.h"

namespace host::importers {

std::unique_ptr<Input> Input::open(const std::string& path, const base::StopSignal* stop,
                                   std::string& error) {
    const bool isStandard = path == "-";
    base::Descriptor file(isStandard ? -1 : ::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    const int descriptor = isStandard ? STDIN_FILENO : file.get();
    struct stat status {};
    int problem = descriptor < 0 || ::fstat(descriptor, &status) != 0 ? errno : 0;
    if (problem == 0 && S_ISDIR(status.st_mode)) problem = EISDIR;
    if (problem != 0) {
        error = "cannot open the stream " + path + ": " + std::strerror(problem);
        return nullptr;
    }
    std::unique_ptr<Input> input(new Input(path, std::move(file), descriptor, stop));
    if (S_ISREG(status.st_mode)) input->m_fileSize = static_cast<std::uint64_t>(status.st_size);
    return input;
}

Input::Input(std::string name, base::Descriptor file, int descriptor, const base::StopSignal* stop)
    : m_name(std::move(name)),
      m_stop(stop),
      m_file(std::move(file)),
      m_descriptorBytes(std::make_unique<base::DescriptorBytes>(descriptor, stop)),
      m_stored(*m_descriptorBytes) {}

Input::Input(std::string name, base::ByteSource& bytes) : m_name(std::move(name)), m_stored(bytes) {}

int Input::seekableFile() {
    content();
    return m_decompressed == nullptr && m_fileSize > 0 && m_file.isOpen() ? m_file.get() : -1;
}

BufferedBytes& Input::content() {
    if (!m_isBegun) decompress_i();
    m_isBegun = true;
    return m_content != nullptr ? *m_content : m_stored;
}

void Input::decompress_i() {
    // Not to wait for a second byte where the first one is enough.
    std::string_view head = m_stored.peek(1);
    if (mayBeCompressed(head)) head = m_stored.peek(MAGIC_SIZE);
    if (!isCompressed(head)) return;
    m_decompressed = decompress(m_stored, head);
    m_content = std::make_unique<BufferedBytes>(*m_decompressed);
}

}  // namespace host::importers
