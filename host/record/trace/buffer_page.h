#pragma once

#include <cstdint>
#include <functional>
#include <span>

namespace host::record {

// Takes a page of the kernel's own trace buffer apart, as its files trace_pipe_raw give it. `record` gets the
// stamp and the bytes of each record. Returns how many records are missing before the page; where the kernel
// does not give the number, 1.
std::uint64_t readBufferPage(std::span<const char> page,
                             const std::function<void(std::uint64_t, std::span<const char>)>& record);

}  // namespace host::record
