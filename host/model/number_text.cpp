#include "host/model/number_text.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "plugins/packing.h"

namespace host::model {

namespace {

constexpr std::uint64_t POWERS_OF_TEN[] = {1, 10, 100, 1000};
constexpr int MOST_EXACT = 3;  // decimals
// The integer digits of the largest double, its sign and the point.
constexpr std::size_t MAX_REAL_HEAD = 312;

// Rounds an exact value's amount times 10^decimals to an integer, ties to even. With up to three decimals the
// product of the mantissa fits 63 bits, so nothing is lost before the rounding.
std::uint64_t scaledToInteger(double value, unsigned decimals) {
    constexpr int MANTISSA_BITS = 52;
    constexpr std::uint64_t HIDDEN_BIT = std::uint64_t{1} << MANTISSA_BITS;
    const auto bits = std::bit_cast<std::uint64_t>(std::fabs(value));
    const std::uint64_t product = ((bits & (HIDDEN_BIT - 1)) | HIDDEN_BIT) * POWERS_OF_TEN[decimals];
    // The value is its mantissa by 2^shift; those too small to have a hidden bit are nothing by far.
    const auto shift = static_cast<unsigned>(1075 - static_cast<int>(bits >> MANTISSA_BITS));
    if (shift - 1 > 62) return shift == 0 ? product : 0;  // an integer, or less than a half
    // Without a branch, as the rounding of real data can't be predicted.
    const std::uint64_t half = std::uint64_t{1} << (shift - 1);
    const std::uint64_t isOdd = product >> shift & 1;
    return (product + half - 1 + isOdd) >> shift;
}

// The decimal digits of a number below 10^8, one to a byte, the first one lowest. They are made in a
// register: characters that are stored one by one and read as one word at once keep the processor waiting.
std::uint64_t eightDigits(std::uint64_t value) {
    constexpr std::uint64_t TENS_OF_PAIRS = 0x000f000f000f000f;
    constexpr std::uint64_t HUNDREDS_OF_FOURS = 0x0000007f0000007f;
    const std::uint64_t fours = value / 10000 | value % 10000 << 32;
    const std::uint64_t hundreds = fours * 5243 >> 19 & HUNDREDS_OF_FOURS;
    const std::uint64_t pairs = hundreds | (fours - hundreds * 100) << 16;
    const std::uint64_t tens = pairs * 103 >> 10 & TENS_OF_PAIRS;
    return tens | (pairs - tens * 10) << 8;
}

constexpr std::uint64_t EIGHT_DIGITS = 100000000;
constexpr std::uint64_t SEVEN_DIGITS = 10000000;
constexpr std::uint64_t ZEROS = 0x3030303030303030;

// Appends the last `length` of eight characters.
void appendLast(std::string& out, std::uint64_t characters, unsigned length) {
    char text[8];
    packing::put(text, characters >> 8 * (8 - length));
    // All of them first: a copy of a length that is not known before takes branches that can't be predicted.
    out.append(text, sizeof text);
    out.resize(out.size() - (8 - length));
}

// How many of eight digits are left without the zeros in front of a digit that has `after` more after it.
unsigned significant(std::uint64_t digits, unsigned after) {
    const std::uint64_t kept = std::uint64_t{1} << 8 * (7 - after);
    return 8 - static_cast<unsigned>(std::countr_zero(digits | kept)) / 8;
}

void appendDigits(std::string& out, std::uint64_t value) {
    if (value >= EIGHT_DIGITS) {
        appendDigits(out, value / EIGHT_DIGITS);
        appendLast(out, eightDigits(value % EIGHT_DIGITS) | ZEROS, 8);
    } else {
        const std::uint64_t digits = eightDigits(value);
        appendLast(out, digits | ZEROS, significant(digits, 0));
    }
}

// Appends a number below 2^53 with at most MOST_EXACT decimals.
void appendExact(std::string& out, double value, unsigned decimals) {
    if (std::signbit(value)) out += '-';
    std::uint64_t scaled = scaledToInteger(value, decimals);
    if (decimals == 0) return appendDigits(out, scaled);
    const bool isLong = scaled >= SEVEN_DIGITS;
    if (isLong) {
        appendDigits(out, scaled / SEVEN_DIGITS);
        scaled %= SEVEN_DIGITS;
    }
    // The first of the eight digits is 0: those before the point move to its place.
    const unsigned point = 8 * (7 - decimals);
    const std::uint64_t digits = eightDigits(scaled);
    const std::uint64_t text = digits | ZEROS;
    const std::uint64_t before = text >> 8 & ((std::uint64_t{1} << point) - 1);
    const std::uint64_t after = text >> (point + 8) << (point + 8);
    appendLast(out, before | std::uint64_t{'.'} << point | after,
               isLong ? 8 : significant(digits, decimals) + 1);
}

// Not inlined, to keep the way of the exact values short.
[[gnu::noinline]] void appendOther(std::string& out, double value, int precision) {
    if (std::isnan(value)) {
        out += "nan";
    } else if (std::isinf(value)) {
        out += value < 0 ? "-inf" : "inf";
    } else {
        const std::size_t head = out.size();
        out.resize(head + MAX_REAL_HEAD + static_cast<std::size_t>(precision));
        char* const begin = out.data() + head;
        const auto end =
            std::to_chars(begin, out.data() + out.size(), value, std::chars_format::fixed, precision);
        out.resize(head + static_cast<std::size_t>(end.ptr - begin));
    }
}

void appendFixed(std::string& out, double value, int precision) {
    if (std::fabs(value) < 0x1p53 && precision <= MOST_EXACT) {
        appendExact(out, value, static_cast<unsigned>(precision));
    } else {
        appendOther(out, value, precision);
    }
}

[[gnu::noinline]] void widen(std::string& out, std::size_t head, int width) {
    const std::size_t length = out.size() - head;
    const std::size_t wanted = static_cast<std::size_t>(std::abs(static_cast<long>(width)));
    if (length < wanted) out.insert(width < 0 ? out.size() : head, wanted - length, ' ');
}

}  // namespace

void appendNumber(std::string& out, long value) {
    if (value < 0) out += '-';
    const auto bits = static_cast<std::uint64_t>(value);
    appendDigits(out, value < 0 ? ~bits + 1 : bits);
}

void appendNumber(std::string& out, unsigned long value) {
    appendDigits(out, value);
}

void appendNumber(std::string& out, double value) {
    appendFixed(out, value, 2);
}

void appendReal(std::string& out, double value, int width, int precision) {
    const std::size_t head = out.size();
    appendFixed(out, value, precision < 0 ? 6 : precision);
    if (width != 0) widen(out, head, width);
}

}  // namespace host::model
