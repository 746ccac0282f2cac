#pragma once

#include <cstddef>
#include <vector>

#include "plugins/memory_block.h"

// Bytes that only grow until they are taken out at once. They lie in chunks, so growing never moves what is
// there already, and taking them out gives memory back chunk by chunk.
class ByteChunks {
public:
    bool empty() const { return m_size == 0; }
    std::size_t size() const { return m_size; }

    // Adds `count` bytes, which lie together, and returns where the caller must write them.
    // If memory is lacking throws std::bad_alloc, with nothing changed.
    char* extend(std::size_t count) {
        if (count > m_left) addChunk_i(count);
        Chunk& chunk = m_chunks.back();
        char* const place = chunk.bytes.get() + chunk.used;
        chunk.used += count;
        m_left -= count;
        m_size += count;
        return place;
    }

    // Appends all bytes to `out` and empties this object.
    void moveTo(std::vector<char>& out);

    void clear();

private:
    struct Chunk {
        MemoryBlock bytes;
        std::size_t used;
    };

    void addChunk_i(std::size_t least);

    std::vector<Chunk> m_chunks;
    std::size_t m_left = 0;  // room in the last chunk
    std::size_t m_size = 0;
};
