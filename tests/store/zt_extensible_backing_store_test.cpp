// The store against a plain vector of bytes.
#include "store/zt_extensible_backing_store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <random>

namespace {

using Bytes = std::vector<char>;
using pwr::ZTExtensibleBackingStore;

// What a store of unlimited memory would be. Positions above the end never arise.
struct Model {
    Bytes data;
    std::size_t readHead = 0;
    std::size_t writeHead = 0;

    void write(const Bytes& bytes) {
        if (writeHead + bytes.size() > data.size()) data.resize(writeHead + bytes.size());
        std::copy(bytes.begin(), bytes.end(), data.begin() + static_cast<std::ptrdiff_t>(writeHead));
        writeHead += bytes.size();
    }
    Bytes range(std::size_t from, std::size_t to) const {
        return Bytes(data.begin() + static_cast<std::ptrdiff_t>(from),
                     data.begin() + static_cast<std::ptrdiff_t>(to));
    }
    Bytes peek(std::size_t count) const { return range(readHead, std::min(data.size(), readHead + count)); }
    Bytes read(std::size_t count) {
        Bytes bytes = peek(count);
        readHead += bytes.size();
        return bytes;
    }
    Bytes readBack(std::size_t count) {
        const std::size_t end = readHead;
        readHead -= std::min(readHead, count);
        return range(readHead, end);
    }
    void insert(std::size_t position, const Bytes& bytes) {
        data.insert(data.begin() + static_cast<std::ptrdiff_t>(position), bytes.begin(), bytes.end());
        if (!bytes.empty()) writeHead = data.size();
    }
};

class Pair {
public:
    Pair(unsigned long limit, unsigned seed) : m_store(limit), m_random(seed) {}

    std::size_t below(std::size_t bound) { return bound == 0 ? 0 : m_random() % bound; }

    void write(std::size_t count) {
        const Bytes bytes = fresh(count);
        ASSERT_EQ(m_store.write(bytes.data(), count), static_cast<std::int64_t>(count));
        m_model.write(bytes);
    }
    void read(std::size_t count) {
        Bytes bytes(count);
        bytes.resize(static_cast<std::size_t>(m_store.read(bytes.data(), count)));
        ASSERT_TRUE(bytes == m_model.read(count)) << "read " << count;
    }
    void peek(std::size_t count) {
        Bytes bytes(count);
        bytes.resize(static_cast<std::size_t>(m_store.peek(bytes.data(), count)));
        ASSERT_TRUE(bytes == m_model.peek(count)) << "peek " << count;
    }
    void readBack(std::size_t count) {
        Bytes bytes(count);
        const auto got = static_cast<std::size_t>(m_store.readBack(bytes.data(), count));
        const Bytes expected = m_model.readBack(count);
        ASSERT_EQ(got, expected.size());
        ASSERT_TRUE(std::equal(expected.rbegin(), expected.rend(), bytes.rbegin())) << "back " << count;
    }
    void resetForRead() {
        m_store.resetForRead();
        m_model.readHead = 0;
    }
    void resetForReadBack() {
        m_store.resetForReadBack();
        m_model.readHead = m_model.data.size();
    }
    void rewind(std::size_t count) {
        m_store.rewind(count);
        m_model.readHead -= count;
    }
    // From a place in the middle, which is reached by reading.
    void overwrite(std::size_t position, std::size_t count) {
        resetForRead();
        read(position);
        m_store.writeToReadHead();
        m_model.writeHead = m_model.readHead;
        write(count);
    }
    void insert(std::size_t position, std::size_t count) {
        const Bytes bytes = fresh(count);
        ASSERT_EQ(m_store.insert(position, bytes.data(), count), 0);
        m_model.insert(position, bytes);
    }
    void checkAll() {
        ASSERT_EQ(m_store.size(), m_model.data.size());
        resetForRead();
        read(m_model.data.size() + 1);
        resetForReadBack();
        readBack(m_model.data.size() + 1);
    }

    const Model& model() const { return m_model; }
    ZTExtensibleBackingStore& store() { return m_store; }

private:
    Bytes fresh(std::size_t count) {
        Bytes bytes(count);
        for (char& byte : bytes) byte = static_cast<char>(m_random());
        return bytes;
    }

    ZTExtensibleBackingStore m_store;
    Model m_model;
    std::minstd_rand m_random;
};

void runRandomly(unsigned long limit, unsigned seed, int steps, std::size_t largest, std::size_t mostData) {
    SCOPED_TRACE(testing::Message() << "limit " << limit << " seed " << seed);
    Pair pair(limit, seed);
    for (int step = 0; step < steps && !testing::Test::HasFatalFailure(); ++step) {
        SCOPED_TRACE(testing::Message() << "step " << step);
        const std::size_t size = pair.model().data.size();
        const std::size_t count = pair.below(4) == 0 ? pair.below(largest) : pair.below(largest / 16 + 2);
        switch (pair.below(size < mostData ? 10 : 7)) {
            case 0:
                pair.read(count);
                break;
            case 1:
                pair.peek(count);
                break;
            case 2:
                pair.readBack(count);
                break;
            case 3:
                pair.resetForRead();
                break;
            case 4:
                pair.resetForReadBack();
                break;
            case 5:
                pair.rewind(pair.below(pair.model().readHead + 1));
                break;
            case 6:
                pair.overwrite(pair.below(size + 1), std::min(count, largest / 4));
                break;
            case 7:
                pair.insert(pair.below(size + 1), count);
                break;
            default:
                pair.write(count);
                break;
        }
        ASSERT_EQ(pair.store().size(), pair.model().data.size());
    }
    pair.checkAll();
}

TEST(ZTExtensibleBackingStore, BehavesLikeAVectorOfBytes) {
    for (const unsigned long limit : {0ul, 1ul, 7ul, 64ul, 4096ul})
        for (unsigned seed = 1; seed <= 12; ++seed)
            runRandomly(limit, seed, 400, 40 + 3 * limit, 60 + 12 * limit);
    runRandomly(ZTExtensibleBackingStore::WINDOW_LIMIT, 1, 120, 1500000, 4000000);
}

TEST(ZTExtensibleBackingStore, KeepsDataOfAnySize) {
    const std::size_t sizes[] = {0, 1, 2, 4095, 4096, 4097, 1048575, 1048576, 1048577, 3 * 1048576 + 5};
    for (const std::size_t size : sizes) {
        SCOPED_TRACE(size);
        Pair pair(ZTExtensibleBackingStore::WINDOW_LIMIT, 1);
        pair.write(size);
        pair.checkAll();
        // A clean, full window must move when more comes.
        pair.write(3);
        pair.overwrite(size / 2, 2);
        pair.insert(size / 3, 5);
        pair.checkAll();
    }
}

TEST(ZTExtensibleBackingStore, SpillsTheFullWindowWhenAWriteComesToItsEnd) {
    Pair pair(ZTExtensibleBackingStore::WINDOW_LIMIT, 1);
    pair.write(1048576);
    EXPECT_EQ(std::filesystem::file_size(pair.store().getPath()), 0u);
    pair.write(1);
    EXPECT_EQ(std::filesystem::file_size(pair.store().getPath()), 1048576u);
    pair.store().resetForRead();
    EXPECT_EQ(std::filesystem::file_size(pair.store().getPath()), 1048577u);
}

TEST(ZTExtensibleBackingStore, RefusesWhatLiesBeyondTheData) {
    Pair pair(64, 1);
    pair.write(10);
    pair.resetForRead();
    pair.read(4);
    EXPECT_EQ(pair.store().insert(11, "x", 1), -1);
    EXPECT_EQ(pair.store().insert(5, nullptr, 1), 0);  // nothing to put there: the data stays as it is
    testing::internal::CaptureStderr();
    pair.store().rewind(5);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "ERROR: trying to rewind past the start of the buffer?!\n");
    pair.read(100);
    EXPECT_EQ(pair.store().size(), 10u);
    char bytes[4] = "abc";
    ZTExtensibleBackingStore& store = pair.store();
    for (const std::uint64_t position : {std::uint64_t{11}, std::uint64_t{65}, ~std::uint64_t{0}}) {
        store.moveReadHead(position);
        EXPECT_EQ(store.read(bytes, 1), -1);
        EXPECT_EQ(store.peek(bytes, 1), -1);
        EXPECT_EQ(store.readBack(bytes, 1), -1);
        EXPECT_EQ(store.readInPlace(1), nullptr);
    }
    EXPECT_STREQ(bytes, "abc");
    // What is written there goes to the end.
    store.writeToReadHead();
    EXPECT_EQ(store.write(bytes, 3), 3);
    EXPECT_EQ(store.size(), 13u);
    store.moveReadHead(10);
    EXPECT_EQ(std::string(store.readInPlace(3), 3), "abc");
}

TEST(ZTExtensibleBackingStore, ClonesNothingButTheKind) {
    ZTExtensibleBackingStore store(64);
    store.write("abc", 3);
    const std::unique_ptr<pwr::ZTBufferProvider> other = store.clone(7);
    EXPECT_EQ(other->size(), 0u);
    EXPECT_EQ(other->write("xy", 2), 2);
    EXPECT_EQ(store.size(), 3u);
}

}  // namespace
