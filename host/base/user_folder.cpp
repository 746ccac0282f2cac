#include "host/base/user_folder.h"

#include <fcntl.h>

namespace host::base {

namespace {

int s_userFolder = AT_FDCWD;

}  // namespace

int userFolder() {
    return s_userFolder;
}

void setUserFolder(const Descriptor& folder) {
    s_userFolder = folder.isOpen() ? folder.get() : AT_FDCWD;
}

}  // namespace host::base
