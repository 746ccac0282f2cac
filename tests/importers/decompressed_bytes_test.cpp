#include "host/importers/decompressed_bytes.h"

#include <gtest/gtest.h>

#include "host/emit/zstd_frame.h"

namespace {

class Text : public host::base::ByteSource {
public:
    explicit Text(std::string text) : m_text(std::move(text)) {}
    std::size_t read(char* to, std::size_t size) override {
        const std::size_t count = m_text.copy(to, size, m_at);
        m_at += count;
        return count;
    }
    std::uint64_t bytesRead() const override { return m_at; }
    const std::string& error() const override { return m_error; }

private:
    std::string m_text;
    std::size_t m_at = 0;
    std::string m_error;
};

// The last block of a run that was killed is taken in at once, but given out in pieces.
TEST(DecompressedBytes, GivesAllThatStandsBeforeACut) {
    std::string packed;
    host::emit::ZstdFrame().compress(std::string(100'000, 'a'), false, packed);
    Text file(packed);
    const auto bytes = host::importers::decompress(file, packed);
    char piece[1000];
    std::size_t size = 0;
    while (const std::size_t got = bytes->read(piece, sizeof piece)) size += got;
    EXPECT_EQ(100'000U, size);
    EXPECT_EQ("offset " + std::to_string(packed.size()) + ": the compressed data ends early", bytes->error());
}

}  // namespace
