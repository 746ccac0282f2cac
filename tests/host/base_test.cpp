// Small helpers of the host.
#include <gtest/gtest.h>

#include "host/base/duration.h"

namespace {

TEST(Duration, IsReadAsPeopleWriteIt) {
    const struct {
        const char* text;
        double secondsPerUnit;
        std::optional<double> expected;
    } cases[] = {
        {"5", 1, 5},        {"0", 1, 0},       {"2.5", 1, 2.5},      {"200", 1e-3, 0.2},
        {"250ms", 1, 0.25}, {"90s", 1e-3, 90}, {"3m", 1, 180},       {"1h", 1, 3600},
        {"1.5h", 1, 5400},  {" 3m ", 1, 180},  {"", 1, {}},          {"m", 1, {}},
        {"-1", 1, {}},      {"-0", 1, {}},     {"5x", 1, {}},        {"5 m", 1, {}},
        {"1h30m", 1, {}},   {"nan", 1, {}},    {"inf", 1, {}},       {"1e3", 1, {}},
        {"5M", 1, {}},      {"0x10", 1, {}},   {"99999999h", 1, {}}, {"9999999999999", 1, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(c.expected, host::base::parseDuration(c.text, c.secondsPerUnit));
    }
}

}  // namespace
