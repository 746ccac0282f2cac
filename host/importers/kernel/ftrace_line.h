// A line of a kernel trace in text.
#pragma once

#include <cstdint>
#include <string_view>

namespace host::importers {

// The parts of a line that reports an event. They point into the line.
struct FtraceLine {
    std::string_view comm;      // name of the thread in which it was traced
    std::int64_t pid = 0;       // of that thread
    std::uint32_t process = 0;  // its process; 0: not told
    std::uint32_t cpu = 0;
    std::uint64_t stamp = 0;  // ns
    std::string_view event;   // without the group of events; empty: there is none
    std::string_view fields;  // what stands after the name
};

// Reads the line of an event in any of the forms
//
//       <idle>-0       [001] d..2.  1234.567890: cpu_idle: state=1 cpu_id=1        the trace file
//       sh-1234 ( 1200) [001] ....  1234.567890: ...                               with processes
//       <idle>-0       [001]  1234.567890: cpu_idle:   state=1 cpu_id=1            reports of recorded traces
//       swapper     0 [001]  1234.567890:   power:cpu_idle: state=1 cpu_id=1       scripts of profiles
//       sh  1200/1234 [001]  1234.567890:  1  power:cpu_idle: state=1 cpu_id=1     with processes and periods
//
// Returns false if it is none: there is no thread, CPU or time. `line` is filled where it lies, since a copy
// right after its many small parts would wait for all of them.
bool readFtraceLine(std::string_view text, FtraceLine& line);

}  // namespace host::importers
