#include "host/base/unnamed_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

namespace host::base {

Descriptor makeUnnamedFile(const std::string& folder) {
    Descriptor file(::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    if (file.isOpen()) return file;
    // File systems without unnamed files: one that loses its name at once.
    std::string name = folder + "/.pwrhost_XXXXXX";
    file = Descriptor(::mkostemp(name.data(), O_CLOEXEC));
    if (file.isOpen()) ::unlink(name.c_str());
    return file;
}

}  // namespace host::base
