// Blocks of the C library's memory: not filled when they are made, and grown in place where that is possible.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>

struct FreeDeleter {
    void operator()(void* block) const { std::free(block); }
};

using MemoryBlock = std::unique_ptr<char, FreeDeleter>;

// Null if there is no memory.
inline MemoryBlock makeBlock(std::size_t size) {
    return MemoryBlock(static_cast<char*>(std::malloc(size)));
}

// Gives the block, which may be null, another size. Keeps it as it is and returns false if there is no
// memory.
inline bool resizeBlock(MemoryBlock& block, std::size_t size) {
    // Of no bytes, a block might be freed and null returned, which here means that it was kept.
    void* const resized = std::realloc(block.get(), std::max<std::size_t>(size, 1));
    if (resized == nullptr) return false;
    static_cast<void>(block.release());
    block.reset(static_cast<char*>(resized));
    return true;
}
