#pragma once

#include <cstdint>
#include <string>

namespace host::record {

// The name that a running thread has now; "<...>", as traces show it, once it is gone.
std::string threadName(std::int64_t tid);

}  // namespace host::record
