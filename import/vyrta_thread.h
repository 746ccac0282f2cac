#pragma once

#include <cstdint>

// A thread record, start or end. In the file, packed, 28 bytes:
//
//   Offset  Width  Value
//   0       u32    0x0200001D
//   4       u32    0x00001000 in the start record, 0x00002000 in the end record
//   8       u32    0
//   12      u32    pid
//   16      u32    tid
//   20      u64    TSC
struct VyrtaThread {
    std::uint32_t mark = 0;
    std::uint32_t pid = 0;
    std::uint32_t tid = 0;
    std::uint64_t tsc = 0;  // ticks
};
