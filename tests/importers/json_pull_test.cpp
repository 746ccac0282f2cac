// JSON that does not come in one piece, and JSON that is none.
#include "host/importers/json_pull.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "host/importers/tick_clock.h"
#include "tests/importers/pieces.h"

namespace {

using host::importers::BufferedBytes;
using host::importers::JsonPull;
using test::Pieces;

TEST(JsonPull, ValuesDoNotDependOnHowTheyArrive) {
    const std::string text =
        " {\"a\\u00e9\\ud83d\\ude00\\n\" : [ 1, -2.5e3 ,18446744073709551615], "
        "\"skipped\":{\"x\":[[],{}],\"y\":true},"
        "\"missing\":,\"last\":}";
    for (const std::size_t step : {1U, 2U, 7U, 1000U}) {
        Pieces pieces(text, step);
        BufferedBytes content(pieces);
        JsonPull json(content);
        std::string key;
        ASSERT_TRUE(json.enterObject());
        ASSERT_TRUE(json.nextKey(key));
        EXPECT_EQ("a\u00e9\U0001F600\n", key);
        ASSERT_TRUE(json.enterList());
        ASSERT_TRUE(json.nextItem());
        EXPECT_EQ(1, json.number());
        ASSERT_TRUE(json.nextItem());
        EXPECT_EQ(-2500, json.number());
        ASSERT_TRUE(json.nextItem());
        EXPECT_EQ(UINT64_MAX, json.whole());
        EXPECT_FALSE(json.nextItem());
        ASSERT_TRUE(json.nextKey(key));
        json.skip();
        ASSERT_TRUE(json.nextKey(key));
        EXPECT_TRUE(std::isnan(json.number()));
        ASSERT_TRUE(json.nextKey(key));
        EXPECT_TRUE(std::isnan(json.number()));
        EXPECT_FALSE(json.nextKey(key));
        EXPECT_FALSE(json.failed()) << json.fault();
    }
}

TEST(JsonPull, WhatIsNoJsonEnds) {
    for (const char* text :
         {"", "{", "[", "{\"a\"", "{\"a\":", "{\"a\":1", "{\"a\":1 \"b\":2}", "{a:1}", "{\"a\":\"\\x\"}",
          "{\"a\":\"\n\"}", "{\"a\":[1,]}", "{\"a\":nul}", "{\"a\":1]", "{\"\\u12\":1}"}) {
        Pieces pieces(text, 3);
        BufferedBytes content(pieces);
        JsonPull json(content);
        std::string key;
        json.enterObject();
        while (json.nextKey(key))
            json.isText() ? void(json.text()) : json.isList() ? json.skip() : void(json.number());
        EXPECT_TRUE(json.failed() || std::string_view(text).find('[') != std::string_view::npos) << text;
    }
}

TEST(TickClock, GivesBackTheTimesThatAreReckonedOfItsTicks) {
    using host::importers::TickClock;
    for (const float frequency : {1.0F, 24.0F, 1000.0F, 2399.998F, 2600.0F}) {
        const TickClock clock(frequency);
        for (std::uint64_t time : {0ULL, 1ULL, 2ULL, 999ULL, 16777215ULL, 123456789ULL, 4000000000ULL}) {
            const double whole = static_cast<double>(time);
            EXPECT_EQ(whole, std::trunc(static_cast<double>(clock.ticksOf(whole)) *
                                        static_cast<double>(clock.factor())))
                << frequency;
            const auto single = static_cast<std::uint64_t>(static_cast<float>(time * 7) * clock.factor());
            std::uint64_t ticks = 0;
            ASSERT_TRUE(clock.ticksOfSingle(single, ticks)) << frequency << " " << time;
            EXPECT_EQ(single, static_cast<std::uint64_t>(static_cast<float>(ticks) * clock.factor()));
        }
    }
    EXPECT_EQ(2400.0F, TickClock::fromSpan(1000, 1000 + 12000000000, 5.0).frequencyMHz());
    EXPECT_EQ(1.0F, TickClock::fromSpan(1000, 9000, 3.5).frequencyMHz());
    EXPECT_EQ(1.0F, TickClock::fromSpan(9000, 1000, 3.5).frequencyMHz());
}

}  // namespace
