// Asks the processor to fetch memory that will soon be used, so that the wait for it overlaps other work.
#pragma once

#include <cstddef>

inline constexpr std::size_t CACHE_LINE = 64;

// For functions that do nothing but this: the compiler takes them for idle and leaves their calls out, unless
// they are part of their callers.
#define PREFETCHES [[gnu::always_inline]] inline

PREFETCHES void prefetch(const void* begin, std::size_t size) {
    const char* const bytes = static_cast<const char*>(begin);
    for (std::size_t offset = 0; offset < size; offset += CACHE_LINE) __builtin_prefetch(bytes + offset, 1);
}
