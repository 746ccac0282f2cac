#include "binary/byte_chunks.h"

#include <algorithm>
#include <new>

#include "plugins/memory_pages.h"

namespace {

// Chunks double up to a size that makes their number and the memory at their ends negligible.
constexpr std::size_t FIRST_CHUNK = std::size_t{4} << 10;
constexpr std::size_t LARGEST_CHUNK = memory_pages::LARGE_PAGE;

}  // namespace

void ByteChunks::moveTo(std::vector<char>& out) {
    out.reserve(out.size() + m_size);
    memory_pages::preferLarge(out.data() + out.size(), m_size);
    for (Chunk& chunk : m_chunks) {
        memory_pages::request(out.data() + out.size(), chunk.used);
        out.insert(out.end(), chunk.bytes.get(), chunk.bytes.get() + chunk.used);
        memory_pages::giveBack(chunk.bytes.get(), chunk.used);
        chunk.bytes.reset();
    }
    clear();
}

void ByteChunks::clear() {
    m_chunks.clear();
    m_left = 0;
    m_size = 0;
}

void ByteChunks::addChunk_i(std::size_t least) {
    std::size_t capacity = std::max(least, std::clamp(m_size, FIRST_CHUNK, LARGEST_CHUNK));
    const std::size_t alignment = capacity == LARGEST_CHUNK ? LARGEST_CHUNK : alignof(std::max_align_t);
    capacity = (capacity + alignment - 1) / alignment * alignment;  // as the allocation demands
    // Not cleared, as every byte is written.
    MemoryBlock bytes(static_cast<char*>(std::aligned_alloc(alignment, capacity)));
    if (bytes == nullptr) throw std::bad_alloc();
    memory_pages::preferLarge(bytes.get(), capacity);
    memory_pages::request(bytes.get(), capacity);
    m_chunks.push_back(Chunk{std::move(bytes), 0});
    m_left = capacity;
}
