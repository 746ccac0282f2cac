#include "export/html/column.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace exporting {
namespace {

constexpr double LARGEST = std::numeric_limits<double>::max();
constexpr double SMALLEST = std::numeric_limits<double>::denorm_min();

// Reads a column as the page does, in doubles.
class Reader {
public:
    explicit Reader(const std::vector<std::uint8_t>& bytes) : m_bytes(bytes) {}

    std::vector<double> column(std::size_t count) {
        switch (static_cast<ColumnKind>(byte_i())) {
            case ColumnKind::Constant:
                return std::vector<double>(count, double_i());
            case ColumnKind::Integers: {
                const int decimals = byte_i();
                return integers_i(count, std::pow(10.0, decimals));
            }
            case ColumnKind::Decimals: {
                std::vector<double> numbers = integers_i(count, 1);
                for (double& number : numbers) number /= std::pow(10.0, byte_i());
                return numbers;
            }
            default:
                return doubles_i(count);
        }
    }

    bool isAtEnd() const { return m_at == m_bytes.size(); }

private:
    std::uint8_t byte_i() { return m_bytes.at(m_at++); }

    double double_i() {
        std::uint64_t bits = 0;
        for (int i = 0; i < 64; i += 8) bits |= std::uint64_t{byte_i()} << i;
        return std::bit_cast<double>(bits);
    }

    std::vector<double> integers_i(std::size_t count, double power) {
        const auto order = static_cast<ColumnOrder>(byte_i());
        const std::size_t width = byte_i();
        const double base = double_i();
        std::vector<double> rests(count);
        for (std::size_t plane = 0; plane < width; ++plane)
            for (double& rest : rests) rest += byte_i() * std::pow(256.0, static_cast<double>(plane));
        std::vector<double> numbers(count);
        for (std::size_t i = 0; i < count; ++i) {
            const double rest = std::fmod(rests[i], 2) != 0 ? -(rests[i] + 1) / 2 : rests[i] / 2;
            double expected = base;
            if (i > 0 && order != ColumnOrder::Offset) expected = numbers[i - 1];
            if (i > 1 && order == ColumnOrder::Curvature) expected = 2 * numbers[i - 1] - numbers[i - 2];
            numbers[i] = rest + expected;
        }
        for (double& number : numbers) number /= power;
        return numbers;
    }

    std::vector<double> doubles_i(std::size_t count) {
        std::vector<std::uint64_t> bits(count);
        for (int plane = 0; plane < 64; plane += 8)
            for (std::uint64_t& number : bits) number |= std::uint64_t{byte_i()} << plane;
        std::vector<double> numbers;
        for (const std::uint64_t number : bits) numbers.push_back(std::bit_cast<double>(number));
        return numbers;
    }

    const std::vector<std::uint8_t>& m_bytes;
    std::size_t m_at = 0;
};

std::vector<double> many(double (*make)(std::mt19937_64&)) {
    std::mt19937_64 random(1);
    std::vector<double> numbers;
    for (int i = 0; i < 5000; ++i) numbers.push_back(make(random));
    return numbers;
}

struct Case {
    const char* name;
    std::vector<double> numbers;
    std::size_t mostBytes;  // of a number, before compression
};

TEST(Column, ComesBackExactlyInFewBytes) {
    const Case cases[] = {
        {"equal", std::vector<double>(1000, 0.1), 1},
        {"one", {1e300}, 9},
        {"counts", many([](auto& random) { return static_cast<double>(random() % 200); }), 2},
        {"negative", many([](auto& random) { return static_cast<double>(random() % 200) - 100; }), 2},
        {"decimals", many([](auto& random) { return static_cast<double>(random() % 10000) / 100; }), 2},
        {"five digits of any size", many([](auto& random) {
             return std::stod(std::to_string(random() % 99999 + 1) + "e-" + std::to_string(random() % 12));
         }),
         5},
        {"any", many([](auto& random) { return std::generate_canonical<double, 53>(random); }), 8},
        {"extreme", {LARGEST, -LARGEST, SMALLEST, 0.0, 1e22, 1e23, 9007199254740993.0}, 10},
        {"large whole", {1e15, 1e15 + 1, -1e15, 1125899906842623.0, 1125899906842624.0}, 10},
        {"multiples of powers of ten", {1e14, 1e-7, 12e12, 5}, 12},
    };
    for (const Case& test : cases) {
        std::vector<std::uint8_t> bytes;
        encodeColumn(test.numbers, bytes);
        Reader reader(bytes);
        EXPECT_EQ(reader.column(test.numbers.size()), test.numbers) << test.name;
        EXPECT_TRUE(reader.isAtEnd()) << test.name;
        EXPECT_LE(bytes.size(), test.numbers.size() * test.mostBytes + 20) << test.name;
    }
}

TEST(Column, StepsOfTimeCostOneByte) {
    std::vector<double> times;
    for (int i = 0; i < 1000; ++i) times.push_back(1e12 + i * 260000 + i % 7);
    std::vector<std::uint8_t> bytes;
    encodeColumn(times, bytes);
    EXPECT_LE(bytes.size(), 3100U);
    EXPECT_EQ(Reader(bytes).column(times.size()), times);
}

}  // namespace
}  // namespace exporting
