#include "json/hash.h"

std::uint32_t hash(const char* text, std::uint32_t seed) {
    std::uint32_t h = seed;
    for (; *text != '\0'; ++text) h = static_cast<std::uint32_t>(static_cast<signed char>(*text)) + 101 * h;
    return h;
}
