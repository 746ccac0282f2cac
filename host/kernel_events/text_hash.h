#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace host::kernel_events {

// A hash of short texts that are looked up with every event: eight bytes at a time, without a call.
struct TextHash {
    std::size_t operator()(std::string_view text) const {
        std::uint64_t hash = text.size();
        const char* at = text.data();
        std::size_t rest = text.size();
        for (; rest > 8; rest -= 8, at += 8) hash = mixed_i(hash ^ load_i<std::uint64_t>(at));
        // What is left lies at the end, over bytes that have been taken where there are some.
        if (text.size() >= 8) return mixed_i(hash ^ load_i<std::uint64_t>(at + rest - 8));
        if (rest >= 4)
            return mixed_i(hash ^ load_i<std::uint32_t>(at) ^
                           (std::uint64_t{load_i<std::uint32_t>(at + rest - 4)} << 32));
        for (; rest > 0; --rest) hash = (hash << 8) ^ static_cast<unsigned char>(*at++);
        return mixed_i(hash);
    }

private:
    template <typename Word>
    static Word load_i(const char* at) {
        Word word = 0;
        std::memcpy(&word, at, sizeof word);
        return word;
    }
    static std::uint64_t mixed_i(std::uint64_t hash) {
        hash ^= hash >> 32;          // where texts differ at their end only
        hash *= 0x9E3779B97F4A7C15;  // the golden ratio: spreads every bit upwards
        return hash ^ (hash >> 29);
    }
};

}  // namespace host::kernel_events
