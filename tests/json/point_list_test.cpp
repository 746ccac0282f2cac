#include "json/point_list.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using Pairs = std::vector<Value::Pair>;

struct Sample {
    std::uint64_t start;
    std::uint64_t end;
    Pairs pairs;
};

void add(PointList& list, const Sample& sample) {
    list.addPoint(sample.start, sample.end, sample.pairs[0].first, sample.pairs[0].second);
    for (std::size_t i = 1; i < sample.pairs.size(); ++i)
        list.addPair(sample.pairs[i].first, sample.pairs[i].second);
}

void expectRead(const PointList& list, const std::vector<Sample>& samples) {
    ASSERT_EQ(list.size(), samples.size());
    PointList::Reader reader(list);
    Point point;
    for (const Sample& sample : samples) {
        ASSERT_TRUE(reader.next(point));
        EXPECT_EQ(point.getStartTimestamp(), sample.start);
        EXPECT_EQ(point.getEndTimestamp(), sample.end);
        EXPECT_EQ(point.getValue().getValues(), sample.pairs);
    }
    EXPECT_FALSE(reader.next(point));
}

TEST(PointListTest, ReadsBackEveryWidth) {
    constexpr std::uint64_t LAST = std::numeric_limits<std::uint64_t>::max();
    const std::vector<Sample> samples = {
        {0, 10, {{0, 1.5}}},
        {10, 20, {{1, -0.0}, {255, 2.0}, {256, 3.0}, {0, 4.0}}},
        {5, 7, {{0xFFFFFFFF, 1e308}}},  // time runs backward
        {LAST, 0, {{0, 1.0}}},          // a start before the collection
        {0, LAST, {{0, 1.0}, {0, 2.0}}},
        {0xFFFFFFFE, 0xFFFFFFFE, {{0, 1.0}}},
        {0xFFFFFFFE, 0x1FFFFFFFD, {{2, 1.0}}},   // the widest narrow times
        {0x1FFFFFFFD, 0x2FFFFFFFD, {{2, 1.0}}},  // one more
    };
    PointList list;
    expectRead(list, {});
    for (const Sample& sample : samples) add(list, sample);
    expectRead(list, samples);
}

// Points and their pairs across many chunks.
TEST(PointListTest, ReadsBackAcrossChunks) {
    std::vector<Sample> samples;
    PointList list;
    for (std::uint64_t i = 0; i < 30000; ++i) {
        Sample sample{i * 1000, i * 1000 + i % 900, {}};
        for (std::uint32_t pair = 0; pair <= i % 7; ++pair)
            sample.pairs.emplace_back(pair * (i % 5 == 0 ? 100 : 1), static_cast<double>(i + pair));
        add(list, sample);
        samples.push_back(sample);
    }
    expectRead(list, samples);
}

TEST(PointListTest, TakesTheBytesThatItSays) {
    PointList list;
    constexpr std::size_t COUNT = 1000000;
    for (std::uint64_t i = 0; i < COUNT; ++i) list.addPoint(i * 1000, i * 1000 + 1000, 3, 0.5);
    EXPECT_LT(list.getByteCount(), COUNT * 18 + 18 * 1024 + 128 * 1024);
}

TEST(PointListTest, RemapsWhatIsReadAlsoTwice) {
    PointList list;
    add(list, {0, 1, {{0, 1.0}, {1, 2.0}}});
    list.remapIds({5, 2});
    expectRead(list, {{0, 1, {{5, 1.0}, {2, 2.0}}}});
    list.remapIds({0, 1, 7, 3, 4, 9});
    expectRead(list, {{0, 1, {{9, 1.0}, {7, 2.0}}}});
}

}  // namespace
