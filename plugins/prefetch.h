// Asks the processor to fetch memory that will soon be used, so that the wait for it overlaps other work.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

inline constexpr std::size_t CACHE_LINE = 64;

// For functions that do nothing but this: the compiler takes them for idle and leaves their calls out, unless
// they are part of their callers.
#define PREFETCHES [[gnu::always_inline]] inline

PREFETCHES void prefetch(const void* begin, std::size_t size) {
    // As a number, since there may be no object, or the next one after it.
    const auto address = reinterpret_cast<std::uintptr_t>(begin);
    for (std::size_t offset = 0; offset < size; offset += CACHE_LINE)
        // NOLINTNEXTLINE(performance-no-int-to-ptr): the pointer is not followed
        __builtin_prefetch(reinterpret_cast<const void*>(address + offset), 1);
}

// While a list of pointers is gone through, from its start to its end: fetches the object of a few places
// after `at`. A host keeps more elements than the caches do, and each is read through its own pointer.
template <typename Object>
PREFETCHES void prefetchAfter(const std::vector<Object*>& list, std::size_t at) {
    constexpr std::size_t DISTANCE = 8;
    if (at + DISTANCE < list.size()) prefetch(list[at + DISTANCE], 2 * CACHE_LINE);
}
