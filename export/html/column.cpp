#include "export/html/column.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace exporting {

namespace {

using Bytes = std::vector<std::uint8_t>;
using Integers = std::vector<std::int64_t>;

// Differences of differences of such integers are exact doubles where they are read.
constexpr double MOST = 1125899906842624.0;  // 2^50
constexpr int MOST_DECIMALS = 9;
constexpr std::array<double, 23> POWERS{1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                        1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                        1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

void putDouble(double number, Bytes& out) {
    const auto bits = std::bit_cast<std::uint64_t>(number);
    for (int i = 0; i < 64; i += 8) out.push_back(static_cast<std::uint8_t>(bits >> i));
}

void putPlanes(std::span<const std::uint64_t> numbers, std::size_t width, Bytes& out) {
    std::size_t at = out.size();
    out.resize(at + numbers.size() * width);
    for (std::size_t plane = 0; plane < width; ++plane)
        for (const std::uint64_t number : numbers)
            out[at++] = static_cast<std::uint8_t>(number >> (8 * plane));
}

std::size_t widthOf(std::span<const std::uint64_t> numbers) {
    std::uint64_t all = 0;
    for (const std::uint64_t number : numbers) all |= number;
    return static_cast<std::size_t>(std::bit_width(all) + 7) / 8;
}

std::uint64_t zigzag(std::int64_t number) {
    return static_cast<std::uint64_t>(number) << 1 ^ static_cast<std::uint64_t>(number >> 63);
}

double scaleOf(std::int64_t number, int decimals) {
    return static_cast<double>(number) / POWERS[static_cast<std::size_t>(decimals)];
}

// Multiplies by 10^decimals. False unless that gives integers from which the same numbers come back.
bool scaleAll(std::span<const double> numbers, int decimals, Integers& integers) {
    const double power = POWERS[static_cast<std::size_t>(decimals)];
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const double scaled = std::nearbyint(numbers[i] * power);
        if (!(std::abs(scaled) < MOST) || scaled / power != numbers[i]) return false;
        integers[i] = static_cast<std::int64_t>(scaled);
    }
    return true;
}

// The least number of decimals that all numbers have, -1 if they have too many.
int decimalsOf(std::span<const double> numbers, Integers& integers) {
    integers.resize(numbers.size());
    const std::size_t probe = std::min<std::size_t>(numbers.size(), 16);
    for (int decimals = 0; decimals <= MOST_DECIMALS; ++decimals)
        if (scaleAll(numbers.first(probe), decimals, integers) && scaleAll(numbers, decimals, integers))
            return decimals;
    return -1;
}

std::int64_t predicted(const Integers& integers, std::size_t i, ColumnOrder order, std::int64_t base) {
    if (i == 0 || order == ColumnOrder::Offset) return base;
    if (i == 1 || order == ColumnOrder::Difference) return integers[i - 1];
    return 2 * integers[i - 1] - integers[i - 2];
}

struct Plan {
    ColumnOrder order = ColumnOrder::Offset;
    std::int64_t base = 0;
    double bits = 0;  // of all numbers together, about
};

double costOf(const Integers& integers, ColumnOrder order, std::int64_t base) {
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < integers.size(); ++i)
        bits +=
            static_cast<unsigned>(std::bit_width(zigzag(integers[i] - predicted(integers, i, order, base))));
    return static_cast<double>(bits);
}

// What is cheapest by a part of the column.
Plan planOf(const Integers& integers) {
    constexpr std::size_t part = 20000;
    const Integers start(integers.begin(),
                         integers.begin() + static_cast<long>(std::min(integers.size(), part)));
    const std::int64_t least = *std::min_element(integers.begin(), integers.end());
    const Plan plans[] = {{ColumnOrder::Offset, least, 0},
                          {ColumnOrder::Difference, integers.front(), 0},
                          {ColumnOrder::Curvature, integers.front(), 0}};
    Plan best;
    for (const Plan& plan : plans) {
        const double bits = costOf(start, plan.order, plan.base) / static_cast<double>(start.size());
        if (&plan == plans || bits < best.bits) best = {plan.order, plan.base, bits};
    }
    return best;
}

void putIntegers(const Integers& integers, const Plan& plan, Bytes& out) {
    std::vector<std::uint64_t> rests(integers.size());
    for (std::size_t i = 0; i < integers.size(); ++i)
        rests[i] = zigzag(integers[i] - predicted(integers, i, plan.order, plan.base));
    const std::size_t width = widthOf(rests);
    out.push_back(static_cast<std::uint8_t>(plan.order));
    out.push_back(static_cast<std::uint8_t>(width));
    putDouble(static_cast<double>(plan.base), out);
    putPlanes(rests, width, out);
}

// Splits a number into the digits of its shortest text and their power of ten. False if they are too many.
bool splitDecimal(double number, std::int64_t& digits, std::int64_t& decimals) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, number, std::chars_format::scientific).ptr;
    char* const mark = std::find(text, end, 'e');
    char* const point = std::find(text, mark, '.');
    const std::int64_t places = point != mark ? mark - point - 1 : 0;
    if (point != mark) std::copy(point + 1, mark, point);
    char* const last = point != mark ? mark - 1 : mark;
    int exponent = 0;
    std::from_chars(mark + (mark[1] == '+' ? 2 : 1), end, exponent);
    if (std::from_chars(text, last, digits).ec != std::errc() || std::abs(digits) >= 1'000'000'000)
        return false;
    decimals = places - exponent;
    if (decimals < 0) {  // a multiple of a power of ten
        if (decimals < -15 ||
            std::abs(static_cast<double>(digits)) * POWERS[static_cast<std::size_t>(-decimals)] >= MOST)
            return false;
        for (; decimals < 0; ++decimals) digits *= 10;
    }
    return decimals < static_cast<std::int64_t>(POWERS.size()) &&
           scaleOf(digits, static_cast<int>(decimals)) == number;
}

bool putDecimals(std::span<const double> numbers, Bytes& out) {
    Integers digits(numbers.size());
    Integers decimals(numbers.size());
    for (std::size_t i = 0; i < numbers.size(); ++i)
        if (!splitDecimal(numbers[i], digits[i], decimals[i])) return false;
    out.push_back(static_cast<std::uint8_t>(ColumnKind::Decimals));
    putIntegers(digits, planOf(digits), out);
    for (const std::int64_t count : decimals) out.push_back(static_cast<std::uint8_t>(count));
    return true;
}

void putDoubles(std::span<const double> numbers, Bytes& out) {
    std::vector<std::uint64_t> bits(numbers.size());
    std::transform(numbers.begin(), numbers.end(), bits.begin(),
                   [](double number) { return std::bit_cast<std::uint64_t>(number); });
    out.push_back(static_cast<std::uint8_t>(ColumnKind::Doubles));
    putPlanes(bits, sizeof(double), out);
}

}  // namespace

void encodeColumn(std::span<const double> numbers, Bytes& out) {
    // Digits of their own pay when the same number of decimals for all makes integers longer than this.
    constexpr double mostBits = 27;
    const auto isFirst = [&](double number) { return number == numbers.front(); };
    if (numbers.empty() || std::all_of(numbers.begin(), numbers.end(), isFirst)) {
        out.push_back(static_cast<std::uint8_t>(ColumnKind::Constant));
        putDouble(numbers.empty() ? 0 : numbers.front(), out);
        return;
    }
    Integers integers;
    const int decimals = decimalsOf(numbers, integers);
    const Plan plan = decimals >= 0 ? planOf(integers) : Plan{};
    if ((decimals < 0 || plan.bits > mostBits) && putDecimals(numbers, out)) return;
    if (decimals < 0) return putDoubles(numbers, out);
    out.push_back(static_cast<std::uint8_t>(ColumnKind::Integers));
    out.push_back(static_cast<std::uint8_t>(decimals));
    putIntegers(integers, plan, out);
}

void encodeCopy(std::uint8_t column, Bytes& out) {
    out.push_back(static_cast<std::uint8_t>(ColumnKind::Copy));
    out.push_back(column);
}

void encodeSame(Bytes& out) {
    out.push_back(static_cast<std::uint8_t>(ColumnKind::Same));
}

}  // namespace exporting
