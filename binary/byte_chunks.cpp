#include "binary/byte_chunks.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>

namespace {

// Chunks double up to a size that makes their number and the memory at their ends negligible.
constexpr std::size_t FIRST_CHUNK = std::size_t{4} << 10;
constexpr std::size_t LARGEST_CHUNK = std::size_t{1} << 20;

constexpr std::uintptr_t PAGE = 4096;
constexpr std::size_t MANY_PAGES = 16;

// Asks for the pages of memory that is about to be written, all at once: a fault for each page costs more
// than filling it. A system that does not know the request leaves the pages to come one by one.
void requestPages(char* begin, std::size_t size) {
#ifdef MADV_POPULATE_WRITE
    const std::size_t toPage = (PAGE - reinterpret_cast<std::uintptr_t>(begin) % PAGE) % PAGE;
    if (size < toPage + MANY_PAGES * PAGE) return;
    madvise(begin + toPage, (size - toPage) / PAGE * PAGE, MADV_POPULATE_WRITE);
#else
    static_cast<void>(begin);
    static_cast<void>(size);
#endif
}

}  // namespace

void ByteChunks::moveTo(std::vector<char>& out) {
    out.reserve(out.size() + m_size);
    for (Chunk& chunk : m_chunks) {
        requestPages(out.data() + out.size(), chunk.used);
        out.insert(out.end(), chunk.bytes.get(), chunk.bytes.get() + chunk.used);
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
    const std::size_t capacity = std::max(least, std::clamp(m_size, FIRST_CHUNK, LARGEST_CHUNK));
    std::unique_ptr<char[]> bytes(new char[capacity]);  // not cleared, every byte is written
    requestPages(bytes.get(), capacity);
    m_chunks.push_back(Chunk{std::move(bytes), 0});
    m_left = capacity;
}
