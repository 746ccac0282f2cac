#include "binary/byte_chunks.h"

#include <algorithm>

namespace {

// Chunks double up to a size that makes their number and the memory at their ends negligible.
constexpr std::size_t FIRST_CHUNK = std::size_t{4} << 10;
constexpr std::size_t LARGEST_CHUNK = std::size_t{1} << 20;

}  // namespace

void ByteChunks::moveTo(std::vector<char>& out) {
    out.reserve(out.size() + m_size);
    for (Chunk& chunk : m_chunks) {
        out.insert(out.end(), chunk.bytes.get(), chunk.bytes.get() + chunk.used);
        chunk.bytes.reset();
    }
    m_chunks.clear();
    m_left = 0;
    m_size = 0;
}

void ByteChunks::addChunk_i(std::size_t least) {
    const std::size_t capacity = std::max(least, std::clamp(m_size, FIRST_CHUNK, LARGEST_CHUNK));
    std::unique_ptr<char[]> bytes(new char[capacity]);  // not cleared, every byte is written
    m_chunks.push_back(Chunk{std::move(bytes), 0});
    m_left = capacity;
}
