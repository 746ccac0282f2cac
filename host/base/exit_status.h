#pragma once

namespace host::base {

// Exit statuses of the program.
enum ExitStatus : int {
    EXIT_GOOD = 0,
    EXIT_ERROR = 1,   // usage, input or output error, bad stream
    EXIT_FAILED = 2,  // the run was completed, but something that a writer was asked for failed
};

}  // namespace host::base
