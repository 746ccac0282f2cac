#pragma once

#include <cstddef>

namespace host::emit {

class Definitions;
class Output;

// What the builders of metrics write with. All of it outlives them.
struct Context {
    Definitions& define;
    Output& output;
    double ticksPerUsec;  // frequency of the clock that samples carry

    // A sample that needs more attributes in a record of the import format goes on in a second message; 0: no
    // limit.
    std::size_t mostAttributes = 0;
};

}  // namespace host::emit
