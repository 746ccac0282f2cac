#include "host/model/number_text.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace host::model {

namespace {

constexpr std::uint64_t POWERS_OF_TEN[] = {1, 10, 100, 1000};
// The integer digits of the largest double, its sign and the point.
constexpr std::size_t MAX_REAL_HEAD = 312;

template <typename Integer>
void appendInteger(std::string& out, Integer value) {
    char text[24];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    out.append(text, end);
}

// Rounds an exact value's amount times 10^DECIMALS to an integer, ties to even. With up to three decimals the
// product of the mantissa fits 63 bits, so nothing is lost before the rounding.
template <int DECIMALS>
std::uint64_t scaledToInteger(double value) {
    constexpr int MANTISSA_BITS = 52;
    constexpr std::uint64_t HIDDEN_BIT = std::uint64_t{1} << MANTISSA_BITS;
    const auto bits = std::bit_cast<std::uint64_t>(std::fabs(value));
    const std::uint64_t product = ((bits & (HIDDEN_BIT - 1)) | HIDDEN_BIT) * POWERS_OF_TEN[DECIMALS];
    // The value is its mantissa by 2^shift; those too small to have a hidden bit are nothing by far.
    const auto shift = static_cast<unsigned>(1075 - static_cast<int>(bits >> MANTISSA_BITS));
    if (shift - 1 > 62) return shift == 0 ? product : 0;  // an integer, or less than a half
    // Without a branch, as the rounding of real data can't be predicted.
    const std::uint64_t half = std::uint64_t{1} << (shift - 1);
    const std::uint64_t isOdd = product >> shift & 1;
    return (product + half - 1 + isOdd) >> shift;
}

// The hundred pairs of digits.
struct DigitPairs {
    char text[200];
    constexpr DigitPairs() : text{} {
        for (std::size_t i = 0; i < 100; ++i) {
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

template <int DECIMALS>
char* putExact(char* end, double value) {
    std::uint64_t rest = scaledToInteger<DECIMALS>(value);
    // Up to three decimals: one, a pair, or both.
    if constexpr ((DECIMALS & 1) != 0) {
        end = putDigit(end, rest % 10);
        rest /= 10;
    }
    if constexpr ((DECIMALS & 2) != 0) {
        end = putPair(end, rest % 100);
        rest /= 100;
    }
    if constexpr (DECIMALS != 0) *--end = '.';
    end = putDigits(end, rest);
    *(end - 1) = '-';
    return end - (std::signbit(value) ? 1 : 0);
}

template <int DECIMALS>
void appendExact(std::string& out, double value) {
    char text[32];
    char* const end = text + sizeof text;
    const char* const begin = putExact<DECIMALS>(end, value);
    out.append(begin, static_cast<std::size_t>(end - begin));
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
    if (!(std::fabs(value) < 0x1p53)) return appendOther(out, value, precision);
    switch (precision) {
        case 0:
            return appendExact<0>(out, value);
        case 1:
            return appendExact<1>(out, value);
        case 2:
            return appendExact<2>(out, value);
        case 3:
            return appendExact<3>(out, value);
        default:
            return appendOther(out, value, precision);
    }
}

[[gnu::noinline]] void widen(std::string& out, std::size_t head, int width) {
    const std::size_t length = out.size() - head;
    const std::size_t wanted = static_cast<std::size_t>(std::abs(static_cast<long>(width)));
    if (length < wanted) out.insert(width < 0 ? out.size() : head, wanted - length, ' ');
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
    if (width != 0) widen(out, head, width);
}

}  // namespace host::model
