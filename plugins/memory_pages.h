// Hints to the system about large blocks of fresh memory, where a fault for each small page would cost more
// than filling it. All are wishes: a system that does not know them backs the pages one by one.
#pragma once

#include <cstddef>
#include <memory_resource>

namespace memory_pages {

inline constexpr std::size_t LARGE_PAGE = std::size_t{2} << 20;

// Asks for large pages wherever a whole one fits into the block.
void preferLarge(char* begin, std::size_t size);

// Has the pages inside the block, which is about to be written, backed now and all at once.
void request(char* begin, std::size_t size);

// Gives the pages inside the block back to the system, whatever becomes of the block. Its content is lost.
void giveBack(char* begin, std::size_t size);

// Memory of the C++ library whose large blocks have large pages: for pools of what is used a little of at a
// time, in an order that jumps from page to page.
class LargePageResource : public std::pmr::memory_resource {
private:
    void* do_allocate(std::size_t size, std::size_t alignment) override;
    void do_deallocate(void* block, std::size_t size, std::size_t alignment) override;
    bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override;
};

}  // namespace memory_pages
