#include "plugins/memory_pages.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <new>

namespace memory_pages {

namespace {

constexpr std::size_t PAGE = 4096;
constexpr std::size_t FEW_PAGES = 16;

// Gives the advice for the whole pages of a size inside the block.
void advise(char* begin, std::size_t size, std::size_t page, int advice) {
    const std::size_t toPage = (page - reinterpret_cast<std::uintptr_t>(begin) % page) % page;
    if (size >= toPage + page) madvise(begin + toPage, (size - toPage) / page * page, advice);
}

// So that large pages cover all of a large block.
std::align_val_t alignmentOf(std::size_t size, std::size_t alignment) {
    return std::align_val_t{size >= LARGE_PAGE ? std::max(alignment, LARGE_PAGE) : alignment};
}

}  // namespace

void preferLarge(char* begin, std::size_t size) {
    advise(begin, size, LARGE_PAGE, MADV_HUGEPAGE);
}

void request(char* begin, std::size_t size) {
#ifdef MADV_POPULATE_WRITE
    if (size >= FEW_PAGES * PAGE) advise(begin, size, PAGE, MADV_POPULATE_WRITE);
#else
    static_cast<void>(begin);
    static_cast<void>(size);
#endif
}

void giveBack(char* begin, std::size_t size) {
    if (size >= FEW_PAGES * PAGE) advise(begin, size, PAGE, MADV_DONTNEED);
}

void* LargePageResource::do_allocate(std::size_t size, std::size_t alignment) {
    void* const block = ::operator new(size, alignmentOf(size, alignment));
    preferLarge(static_cast<char*>(block), size);
    return block;
}

void LargePageResource::do_deallocate(void* block, std::size_t size, std::size_t alignment) {
    ::operator delete(block, size, alignmentOf(size, alignment));
}

bool LargePageResource::do_is_equal(const std::pmr::memory_resource& other) const noexcept {
    return this == &other;
}

}  // namespace memory_pages
