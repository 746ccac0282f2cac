// Values: readers, display texts, conversions; numbers as text.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <limits>
#include <random>

#include "host/model/handles.h"
#include "host/model/number_text.h"
#include "host/model/value.h"
#include "pwr/utilities.h"

namespace {

using host::model::Value;

constexpr double NAN_VALUE = std::numeric_limits<double>::quiet_NaN();
constexpr double INFINITE = std::numeric_limits<double>::infinity();
constexpr long LONG_MIN_VALUE = std::numeric_limits<long>::min();
constexpr unsigned long ULONG_MAX_VALUE = std::numeric_limits<unsigned long>::max();

template <typename... Args>
Value make(void (Value::*set)(Args...), std::common_type_t<Args>... args) {
    Value value;
    (value.*set)(args...);
    return value;
}

std::vector<Value> oneOfEachKind() {
    return {Value(),
            make(&Value::setInt, -1),
            make(&Value::setUInt, 2),
            make(&Value::setReal, 2.5),
            make(&Value::setIntRange, -4, 4),
            make(&Value::setUIntRange, 5, 6),
            make(&Value::setRealRange, -0.5, 0.5),
            make(&Value::setHandle, nullptr),
            make(&Value::setString, std::string_view("text"))};
}

TEST(Value, ReadersSucceedForExactlyTheirKind) {
    const std::vector<Value> values = oneOfEachKind();
    for (std::size_t kind = 0; kind < values.size(); ++kind) {
        SCOPED_TRACE(kind);
        const pwr::Data copy(values[kind]);
        EXPECT_EQ(kind, copy.m_type);
        EXPECT_EQ(kind >= 1 && kind <= 6, copy.isNumeric());
        long i = 77;
        unsigned long u = 77;
        double r = 77;
        std::pair<long, long> ii(77, 77);
        std::pair<unsigned long, unsigned long> uu(77, 77);
        std::pair<double, double> rr(77, 77);
        std::string s = "77";
        static const host::model::Handle dummy(1, host::model::HandleTexts("dummy"), 1);
        const pwr::DataHandle* h = &dummy;
        const int statuses[] = {1,
                                copy.toInt(i),
                                copy.toUInt(u),
                                copy.toReal(r),
                                copy.toIntRange(ii),
                                copy.toUIntRange(uu),
                                copy.toRealRange(rr),
                                copy.toHandle(h),
                                copy.toString(s)};
        for (std::size_t reader = 1; reader < 9; ++reader) EXPECT_EQ(reader != kind, statuses[reader] != 0);
        EXPECT_EQ(kind == 1 ? -1 : 77, i);
        EXPECT_EQ(kind == 2 ? 2U : 77U, u);
        EXPECT_EQ(kind == 3 ? 2.5 : 77, r);
        EXPECT_EQ(kind == 4 ? std::pair(-4L, 4L) : std::pair(77L, 77L), ii);
        EXPECT_EQ(kind == 5 ? std::pair(5UL, 6UL) : std::pair(77UL, 77UL), uu);
        EXPECT_EQ(kind == 6 ? std::pair(-0.5, 0.5) : std::pair(77.0, 77.0), rr);
        EXPECT_EQ(kind == 7 ? nullptr : &dummy, h);
        EXPECT_EQ(kind == 8 ? "text" : "77", s);
    }
}

TEST(Value, AssignmentGoesFromEveryKindToEveryKind) {
    const std::vector<Value> values = oneOfEachKind();
    for (const Value& from : values) {
        for (const Value& to : values) {
            pwr::Data data(to);
            data = from;
            const pwr::Data& self = data;
            data = self;
            std::string expected;
            std::string text;
            from.toFormattedString(expected);
            EXPECT_EQ(0, data.toFormattedString(text));
            EXPECT_EQ(expected, text);
            EXPECT_EQ(from.m_type, data.m_type);
        }
    }
}

TEST(Value, DisplayTextAndFormatter) {
    const host::model::Handle handle(3, host::model::HandleTexts("Deep sleep"), 1);
    const struct {
        Value value;
        const char* display;
        const char* formatted;  // width 8, one decimal
    } cases[] = {
        {Value(), "", ""},
        {make(&Value::setInt, LONG_MIN_VALUE), "-9223372036854775808", "-9223372036854775808.0"},
        {make(&Value::setUInt, ULONG_MAX_VALUE), "18446744073709551615", "18446744073709551616.0"},
        {make(&Value::setUInt, 7), "7", "     7.0"},
        {make(&Value::setReal, 2.675), "2.67", "     2.7"},
        {make(&Value::setReal, 0.125), "0.12", "     0.1"},
        {make(&Value::setReal, 0.375), "0.38", "     0.4"},
        {make(&Value::setReal, -0.001), "-0.00", "    -0.0"},
        {make(&Value::setReal, -0.0), "-0.00", "    -0.0"},
        {make(&Value::setReal, 5e-324), "0.00", "     0.0"},
        {make(&Value::setReal, 1e22), "10000000000000000000000.00", "10000000000000000000000.0"},
        {make(&Value::setReal, NAN_VALUE), "nan", "     nan"},
        {make(&Value::setReal, -NAN_VALUE), "nan", "     nan"},
        {make(&Value::setReal, INFINITE), "inf", "     inf"},
        {make(&Value::setReal, -INFINITE), "-inf", "    -inf"},
        {make(&Value::setIntRange, -3, 4), "-3 - 4", "    -3.0 -      4.0"},
        {make(&Value::setUIntRange, 3, 4), "3 - 4", "     3.0 -      4.0"},
        {make(&Value::setRealRange, -INFINITE, 0.5), "-inf - 0.50", "    -inf -      0.5"},
        {make(&Value::setHandle, &handle), "Deep sleep", "Deep sleep"},
        {make(&Value::setHandle, nullptr), "", ""},
        {make(&Value::setString, std::string_view("a\0b", 3)), nullptr, nullptr},
    };
    const pwr::RealFormatter formatter(8, 1);
    for (const auto& test : cases) {
        std::string display = "before";
        std::string formatted = "before";
        EXPECT_EQ(0, test.value.toFormattedString(display));
        formatter.format(formatted, test.value);
        EXPECT_EQ(test.display != nullptr ? test.display : std::string("a\0b", 3), display);
        EXPECT_EQ(test.formatted != nullptr ? test.formatted : std::string("a\0b", 3), formatted);
    }
}

// The C library is the judge of every digit.
TEST(Value, RealsHaveTheDigitsOfPrintf) {
    std::mt19937_64 random(42);
    const auto check = [](double value, int width, int precision) {
        char expected[512];
        std::snprintf(expected, sizeof expected, "%*.*f", width, precision, value);
        if (char* const point = std::strchr(expected, ',')) *point = '.';  // as some locales have it
        std::string text = "x";
        host::model::appendReal(text, value, width, precision);
        ASSERT_EQ(std::string("x") + expected, text) << value;
    };
    for (int i = 0; i < 50000; ++i) {
        const std::uint64_t bits = random();
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        if (!std::isfinite(value)) continue;
        check(value, static_cast<int>(bits % 20) - 10, static_cast<int>(bits % 9) - 1);
        // Values near ties of two and three decimals, where a sloppy rounding shows.
        const auto steps = static_cast<double>(static_cast<std::int64_t>(bits >> 20) % 100000000);
        check(steps / 1000.0, 0, 2);
        check(steps / 8.0, 0, 2);
        check(std::nextafter(steps / 200.0, value), 0, 2);
        check(steps / 16.0, 0, 3);
        // Of all lengths, also where one more group of digits begins.
        check(static_cast<double>(bits >> bits % 64) / 100.0, 0, static_cast<int>(bits % 4));
    }
    for (const double value : {0x1p52, 0x1p53, 0x1p53 - 1, 0x1p52 + 0.5, 9007199254740993.0, 1e308, 0x1p-1074,
                               0x1p-1022, 0.005, 0.015, 0.5, 1.5, 99.995, 99.994999999999990})
        for (int precision = 0; precision < 6; ++precision) check(value, 0, precision);
}

TEST(Value, IntegersHaveAllTheirDigits) {
    std::mt19937_64 random(42);
    for (int i = 0; i < 6400; ++i) {
        const std::uint64_t number = random() >> i % 64;
        std::string text;
        host::model::appendNumber(text, static_cast<unsigned long>(number));
        ASSERT_EQ(std::to_string(number), text);
        text.clear();
        host::model::appendNumber(text, static_cast<long>(number));
        ASSERT_EQ(std::to_string(static_cast<long>(number)), text);
    }
}

TEST(Value, MultiplicationTruncatesAndSaturates) {
    const struct {
        Value value;
        double factor;
        const char* result;
    } cases[] = {
        {make(&Value::setInt, -7), 0.5, "-3"},
        {make(&Value::setInt, LONG_MIN_VALUE), 2, "-9223372036854775808"},
        {make(&Value::setInt, LONG_MIN_VALUE), -1, "9223372036854775807"},
        {make(&Value::setInt, 5), NAN_VALUE, "0"},
        {make(&Value::setUInt, 7), 0.5, "3"},
        {make(&Value::setUInt, 7), -1, "0"},
        {make(&Value::setUInt, ULONG_MAX_VALUE), INFINITE, "18446744073709551615"},
        {make(&Value::setReal, 1.5), -2, "-3.00"},
        {make(&Value::setIntRange, -7, 7), 0.5, "-3 - 3"},
        {make(&Value::setUIntRange, 1, 3), 0.5, "0 - 1"},
        {make(&Value::setRealRange, 1, 3), 0.5, "0.50 - 1.50"},
        {make(&Value::setString, std::string_view("7")), 2, "7"},
        {make(&Value::setHandle, nullptr), 2, ""},
        {Value(), 2, ""},
    };
    for (const auto& test : cases) {
        Value value(test.value);
        value.multiplyValue(test.factor);
        std::string text;
        value.toFormattedString(text);
        EXPECT_EQ(test.result, text);
        EXPECT_EQ(test.value.m_type, value.m_type);
    }
}

TEST(Value, ConversionToRealKeepsRangesAndOtherKinds) {
    const int kinds[] = {0, 3, 3, 3, 6, 6, 6, 7, 8};
    const char* const texts[] = {"", "-1.00", "2.00", "2.50", "-4.00 - 4.00", "5.00 - 6.00", "-0.50 - 0.50",
                                 "", "text"};
    const std::vector<Value> values = oneOfEachKind();
    for (std::size_t kind = 0; kind < values.size(); ++kind) {
        Value real(make(&Value::setString, std::string_view("before")));
        EXPECT_EQ(kind >= 1 && kind <= 6 ? 0 : 1, real.convertToReal(&values[kind]));
        std::string text;
        real.toFormattedString(text);
        EXPECT_EQ(texts[kind], text);
        EXPECT_EQ(kinds[kind], real.m_type);
    }
    Value own(make(&Value::setInt, 9));
    EXPECT_EQ(0, own.convertToReal(&own));
    EXPECT_EQ(pwr::DATA_REAL, own.m_type);
}

}  // namespace
