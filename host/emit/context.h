#pragma once

#include <cstddef>
#include <functional>
#include <string>

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

    // Whether the user wants the metric of this name; one that is not wanted is never defined, and takes
    // readings without a word. Empty: all are.
    std::function<bool(const std::string&)> isWanted{};

    bool wants(const std::string& metric) const { return !isWanted || isWanted(metric); }
};

}  // namespace host::emit
