#include "plugins/memory_pages.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

using memory_pages::LARGE_PAGE;

TEST(LargePageResource, PutsLargeBlocksOnLargePages) {
    memory_pages::LargePageResource memory;
    for (const std::size_t size : {std::size_t{100}, LARGE_PAGE - 1, LARGE_PAGE, 3 * LARGE_PAGE + 5}) {
        SCOPED_TRACE(size);
        const std::size_t alignment = 64;
        char* const block = static_cast<char*>(memory.allocate(size, alignment));
        const auto address = reinterpret_cast<std::uintptr_t>(block);
        EXPECT_EQ(address % (size < LARGE_PAGE ? alignment : LARGE_PAGE), 0u);
        block[0] = block[size - 1] = 'x';
        memory.deallocate(block, size, alignment);
    }
}

// As a pool's chunks grow, they become large ones.
TEST(LargePageResource, ServesAPool) {
    memory_pages::LargePageResource memory;
    std::pmr::unsynchronized_pool_resource pool(&memory);
    std::pmr::vector<std::pmr::string> texts(&pool);
    for (int i = 0; i < 10000; ++i) texts.emplace_back(1000, static_cast<char>('a' + i % 26));
    for (std::size_t i = 0; i < texts.size(); ++i)
        ASSERT_EQ(texts[i], std::pmr::string(1000, static_cast<char>('a' + i % 26)));
}

}  // namespace
