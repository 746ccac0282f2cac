#include "host/importers/decompressed_bytes.h"

#include <gtest/gtest.h>

#include "host/emit/zstd_frame.h"
#include "tests/importers/pieces.h"

namespace {

// The last block of a run that was killed is taken in at once, but given out in pieces.
TEST(DecompressedBytes, GivesAllThatStandsBeforeACut) {
    std::string packed;
    host::emit::ZstdFrame().compress(std::string(100'000, 'a'), false, packed);
    test::Pieces file(packed, packed.size());
    const auto bytes = host::importers::decompress(file, packed);
    char piece[1000];
    std::size_t size = 0;
    while (const std::size_t got = bytes->read(piece, sizeof piece)) size += got;
    EXPECT_EQ(100'000U, size);
    EXPECT_EQ("offset " + std::to_string(packed.size()) + ": the compressed data ends early", bytes->error());
}

}  // namespace
