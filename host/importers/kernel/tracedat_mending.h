#pragma once

#include <cstdint>

namespace host::importers {

// A trace.dat of version 7 says after the events where those of each CPU stand. Finds that out for a file
// that ends before, and writes it where it would stand. Compressed events say where a CPU's end; of
// others a CPU begins where time goes back. Which CPUs they are is not in the file any more: they are counted
// from 0, which is true where all of them had events.
//
// `file` is a copy of which the first `size` bytes are the trace; the rest does not matter. False if it is
// not such a file, holds no events, or events of more CPUs than the machine had.
bool mendTracedat(int file, std::uint64_t size);

}  // namespace host::importers
