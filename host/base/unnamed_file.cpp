#include "host/base/unnamed_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

namespace host::base {

Descriptor makeUnnamedFile() {
    Descriptor file(::open(".", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    if (file.isOpen()) return file;
    // File systems without unnamed files: one that loses its name at once.
    char name[] = "./.pwrhost_XXXXXX";
    file = Descriptor(::mkostemp(name, O_CLOEXEC));
    if (file.isOpen()) ::unlink(name);
    return file;
}

}  // namespace host::base
