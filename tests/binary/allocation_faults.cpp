#include "tests/binary/allocation_faults.h"

#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::size_t NEVER = std::numeric_limits<std::size_t>::max();

std::size_t g_count = 0;
std::size_t g_failing = NEVER;

void* allocate(std::size_t size) {
    if (g_count++ == g_failing) throw std::bad_alloc();
    // Not malloc, which other tests let fail.
    constexpr std::size_t ALIGNMENT = alignof(std::max_align_t);
    void* const memory = std::aligned_alloc(ALIGNMENT, (size + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

}  // namespace

namespace allocation_faults {

std::size_t count() {
    return g_count;
}

void failAfter(std::size_t successes) {
    g_failing = g_count + successes;
}

bool stop() {
    const bool failed = g_count > g_failing;
    g_failing = NEVER;
    return failed;
}

}  // namespace allocation_faults

void* operator new(std::size_t size) {
    return allocate(size);
}
void* operator new[](std::size_t size) {
    return allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept try {
    return allocate(size);
} catch (const std::bad_alloc&) {
    return nullptr;
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept try {
    return allocate(size);
} catch (const std::bad_alloc&) {
    return nullptr;
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
