#pragma once

#include <fcntl.h>
#include <unistd.h>

#include "host/base/descriptor.h"

namespace host::base {

// The two ends of a pipe, which no program that is started inherits.
struct Pipe {
    Descriptor reading;
    Descriptor writing;

    // False, with errno set, if there can't be one.
    bool open() {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) return false;
        reading = Descriptor(ends[0]);
        writing = Descriptor(ends[1]);
        return true;
    }
};

}  // namespace host::base
