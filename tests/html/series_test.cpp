#include "export/html/series.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace exporting {
namespace {

constexpr Measure VALUE{pwr::Metric::SAMPLED_VALUE, 1, 1000};
constexpr Measure DELTA{pwr::Metric::SAMPLED_DELTA, 0.5, 1000};

Leaf allOf(const Series& series) {
    Leaf all = series.leaves().front();
    for (std::size_t i = 1; i < series.leaves().size(); ++i) mergeInto(all, series.leaves()[i]);
    return all;
}

TEST(Series, KeepsSumsAndExtremesWhenReducedInSteps) {
    std::mt19937 random(3);
    Series series(0, 0);
    double sum = 0;
    double most = 0;
    std::int64_t time = -500;
    for (int i = 0; i < 4000; ++i) {
        const double value =
            i % 10 == 0 ? std::numeric_limits<double>::quiet_NaN() : static_cast<double>(random() % 1000);
        time += static_cast<std::int64_t>(random() % 20);
        series.append({time, 4, value});
        if (!std::isnan(value)) sum += value;
        if (!std::isnan(value)) most = std::max(most, value);
        if (i % 700 == 699) series.reduce(static_cast<unsigned>(i / 700), VALUE);
    }
    series.reduce(6, VALUE);
    const Leaf all = allOf(series);
    EXPECT_EQ(all.count, 4000U);
    EXPECT_EQ(all.skipped, 400U);
    EXPECT_EQ(all.sum, sum);
    EXPECT_EQ(all.weighted, 4 * sum);
    EXPECT_EQ(all.most, most);
    EXPECT_EQ(series.leavesAt(6), series.leaves().size());
    for (const Leaf& leaf : series.leaves()) EXPECT_EQ(leaf.first >> 6, leaf.last >> 6);
}

TEST(Series, PutsLateElementsWhereTheyBelong) {
    Series series(0, 0);
    for (const std::int64_t time : {100, 300, 200, 201}) series.append({time, 1, 1});
    series.reduce(4, VALUE);
    for (const std::int64_t time : {50, 310, 302}) series.append({time, 1, 1});
    series.reduce(4, VALUE);
    ASSERT_EQ(series.leaves().size(), 5U);
    EXPECT_TRUE(std::is_sorted(series.leaves().begin(), series.leaves().end(),
                               [](const Leaf& a, const Leaf& b) { return a.last < b.first; }));
    EXPECT_EQ(allOf(series).count, 7U);
}

TEST(Leaf, ValueWithoutDurationHoldsSinceTheOneBefore) {
    EXPECT_EQ(leafOf({70, 0, 2}, 50, VALUE).weighted, 40);
    EXPECT_EQ(leafOf({70, 5, 2}, 50, VALUE).weighted, 10);
    EXPECT_EQ(leafOf({70, 0, 2}, 70, VALUE).weighted, 0);
}

TEST(Leaf, DeltaWithoutDurationHasNoRate) {
    const Leaf timed = leafOf({70, 500, 8}, 50, DELTA);
    EXPECT_EQ(timed.least, 8);
    Leaf both = leafOf({60, 0, 100}, 50, DELTA);
    EXPECT_EQ(both.measured, 0U);
    mergeInto(both, timed);
    EXPECT_EQ(both.sum, 108);
    EXPECT_EQ(both.weighted, 8);
    EXPECT_EQ(both.least, 8);
    EXPECT_EQ(both.most, 8);
}

}  // namespace
}  // namespace exporting
