#pragma once

#include <cstdint>

// Folds a text, up to its terminating zero, into 32 bits: h = 101 * h + byte for each byte, taken as signed,
// from h = `seed`, modulo 2^32. Part of the keys that tell series apart, so it must stay as it is.
std::uint32_t hash(const char* text, std::uint32_t seed);
