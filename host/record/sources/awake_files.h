// What the kernel's files say that can hold a package awake.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace host::record {

// A row: what it is of, and what is said of that.
struct AwakeRow {
    std::vector<std::string> keys;
    std::vector<std::string> values;
};

// Counters of the package's idle states, lines "Package C6 : 1234": a value each.
std::vector<AwakeRow> readPackageCounters(std::string_view text);

// The latencies that components put up with, in ns, lines "XHCI LTR: RAW: 0x8c548c54 Non-Snoop(ns): 1048576
// Snoop(ns): 1048576": two values each. Components that ask for nothing are left out.
std::vector<AwakeRow> readLatencyTolerance(std::string_view text);

// A table between bars, of what has to be off in which substate of idle: keys are the element and whether
// each of the substates requires it, and the value is whether it is off. Elements that none requires are left
// out.
struct SubstateRequirements {
    std::vector<std::string> substates;
    std::vector<AwakeRow> rows;
};
SubstateRequirements readSubstateRequirements(std::string_view text);

// The word in brackets: the one of the choices that holds.
std::string_view chosenOf(std::string_view text);

// The limit of latencies in usec, four bytes of a number or its text; "none" for the largest there is.
std::string readLatencyLimit(std::string_view bytes);

}  // namespace host::record
