// The least that each kind of result costs: what the writers are measured against.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace bench {

// Plain numbers, one per element.
struct PlainElements {
    std::vector<std::uint64_t> start;
    std::vector<std::uint64_t> end;
    std::vector<double> value;

    explicit PlainElements(std::size_t count);
    std::size_t size() const { return value.size(); }
};

// Each returns the number of bytes that it produced.

// Copies a packed record of 27 bytes per element into a growing buffer, and writes that to `path` at once.
std::size_t packedRecords(const PlainElements& elements, const char* path);

// Prints each value with two decimals into a length-prefixed spool in memory, then pads all cells to one
// width in one pass over a buffer of 1 MiB.
std::size_t paddedCells(const PlainElements& elements);

// Writes {"x":..,"x1":..,"y":..} per element with the JSON library into one buffer in memory.
std::size_t jsonPoints(const PlainElements& elements);

// The least that a path costs which spools what it gets and lays out its result at the end: writes `spooled`
// bytes to so many files, goes back to their starts, reads them, and writes `result` bytes, 1 MiB at a time
// from and to one warm buffer. Returns the CPU time in nanoseconds, without opening, closing and removing
// files. It runs twice, and the second run counts. Exits the process if a file fails it.
double transfers(double spooled, double spools, double result);

}  // namespace bench
