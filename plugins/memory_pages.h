// Hints to the system about large blocks of fresh memory, where a fault for each small page would cost more
// than filling it. All are wishes: a system that does not know them backs the pages one by one.
#pragma once

#include <cstddef>

namespace memory_pages {

inline constexpr std::size_t LARGE_PAGE = std::size_t{2} << 20;

// Asks for large pages wherever a whole one fits into the block.
void preferLarge(char* begin, std::size_t size);

// Has the pages inside the block, which is about to be written, backed now and all at once.
void request(char* begin, std::size_t size);

// Gives the pages inside the block back to the system, whatever becomes of the block. Its content is lost.
void giveBack(char* begin, std::size_t size);

}  // namespace memory_pages
