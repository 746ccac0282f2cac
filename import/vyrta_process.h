#pragma once

#include <cstdint>
#include <string>

// A process record, start or end. In the file, packed, total length 33 plus the path's length:
//
//   Offset  Width  Value
//   0       u32    0x0240001D
//   4       u32    0x00001000
//   8       u32    0
//   12      u32    pid
//   16      u32    0
//   20      u64    TSC: start, or end in the end record
//   28      u16    path length plus 5
//   30      u16    0
//   32      bytes  path and NUL, at most 30 bytes
struct VyrtaProcess {
    std::uint32_t pid = 0;
    std::uint64_t tsc = 0;  // ticks
    std::string path;       // at most 29 bytes
};
