#include "host/model/number_text.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace host::model {

namespace {

constexpr int MAX_EXACT_PRECISION = 3;
constexpr std::uint64_t POWERS_OF_TEN[] = {1, 10, 100, 1000};
// The integer digits of the largest double, its sign and the point.
constexpr std::size_t MAX_REAL_HEAD = 312;

template <typename Integer>
void appendInteger(std::string& out, Integer value) {
    char text[24];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    out.append(text, end);
}

// Rounds a finite value below 2^53, not negative, times 10^precision to an integer, ties to even. With up to
// three decimals the product of the mantissa fits 64 bits, so nothing is lost before the rounding.
std::uint64_t scaledToInteger(double value, int precision) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    const int exponent = static_cast<int>(bits >> 52);
    const std::uint64_t fraction = bits & ((std::uint64_t{1} << 52) - 1);
    const std::uint64_t mantissa = exponent == 0 ? fraction : fraction | (std::uint64_t{1} << 52);
    const int shift = 1075 - (exponent == 0 ? 1 : exponent);  // value = mantissa / 2^shift
    const std::uint64_t product = mantissa * POWERS_OF_TEN[precision];
    if (shift == 0) return product;
    if (shift > 63) return 0;  // the product is below 2^63, so this is less than a half
    // Without a branch, as the rounding of real data can't be predicted.
    const std::uint64_t half = std::uint64_t{1} << (shift - 1);
    const std::uint64_t isOdd = product >> shift & 1;
    return (product + half - 1 + isOdd) >> shift;
}

// The hundred pairs of digits.
struct DigitPairs {
    char text[200];
    constexpr DigitPairs() : text{} {
        for (int i = 0; i < 100; ++i) {
            text[2 * i] = static_cast<char>('0' + i / 10);
            text[2 * i + 1] = static_cast<char>('0' + i % 10);
        }
    }
};
constexpr DigitPairs DIGIT_PAIRS;

// Each writes in front of `end` and returns the place where it began.
char* putDigit(char* end, std::uint64_t digit) {
    *--end = static_cast<char>('0' + digit);
    return end;
}

char* putPair(char* end, std::uint64_t pair) {
    end -= 2;
    std::memcpy(end, DIGIT_PAIRS.text + 2 * pair, 2);
    return end;
}

char* putDigits(char* end, std::uint64_t value) {
    for (; value >= 10000; value /= 100) end = putPair(end, value % 100);
    // The last four without a branch, as their number can't be predicted.
    putPair(putPair(end, value % 100), value / 100);
    return end - 1 - (value >= 10 ? 1 : 0) - (value >= 100 ? 1 : 0) - (value >= 1000 ? 1 : 0);
}

void appendExact(std::string& out, double value, int precision) {
    std::uint64_t rest = scaledToInteger(std::fabs(value), precision);
    char text[32];
    char* const end = text + sizeof text;
    char* begin = end;
    // Up to three decimals: one, a pair, or both.
    if ((precision & 1) != 0) {
        begin = putDigit(begin, rest % 10);
        rest /= 10;
    }
    if ((precision & 2) != 0) {
        begin = putPair(begin, rest % 100);
        rest /= 100;
    }
    if (precision != 0) *--begin = '.';
    begin = putDigits(begin, rest);
    if (std::signbit(value)) *--begin = '-';
    out.append(begin, static_cast<std::size_t>(end - begin));
}

void appendFixed(std::string& out, double value, int precision) {
    if (precision <= MAX_EXACT_PRECISION && std::fabs(value) < 0x1p53) {
        appendExact(out, value, precision);
    } else if (std::isnan(value)) {
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

}  // namespace

void appendNumber(std::string& out, long value) {
    appendInteger(out, value);
}

void appendNumber(std::string& out, unsigned long value) {
    appendInteger(out, value);
}

void appendNumber(std::string& out, double value) {
    appendFixed(out, value, 2);
}

void appendReal(std::string& out, double value, int width, int precision) {
    const std::size_t head = out.size();
    appendFixed(out, value, precision < 0 ? 6 : precision);
    const std::size_t length = out.size() - head;
    const std::size_t wanted = static_cast<std::size_t>(std::abs(static_cast<long>(width)));
    if (length >= wanted) return;
    out.insert(width < 0 ? out.size() : head, wanted - length, ' ');
}

}  // namespace host::model
