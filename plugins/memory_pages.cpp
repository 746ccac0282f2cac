#include "plugins/memory_pages.h"

#include <sys/mman.h>

#include <cstdint>

namespace memory_pages {

namespace {

constexpr std::size_t PAGE = 4096;
constexpr std::size_t FEW_PAGES = 16;

// Gives the advice for the whole pages of a size inside the block.
void advise(char* begin, std::size_t size, std::size_t page, int advice) {
    const std::size_t toPage = (page - reinterpret_cast<std::uintptr_t>(begin) % page) % page;
    if (size >= toPage + page) madvise(begin + toPage, (size - toPage) / page * page, advice);
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

}  // namespace memory_pages
