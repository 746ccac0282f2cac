// Layout: stamp (8 bytes), length of the data with flags (8), data; after them, if flagged, a count (8).
// Each record begins with 32 bits: its length in words or its type (5 bits), and the time since the one
// before (27).
#include "host/record/trace/buffer_page.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace host::record {

namespace {

constexpr std::size_t HEAD = 16;
constexpr std::uint64_t LENGTH = 0xFFFFF;
constexpr std::uint64_t IS_MISSING = std::uint64_t{1} << 31;
constexpr std::uint64_t IS_COUNTED = std::uint64_t{1} << 30;
constexpr unsigned DELTA_BITS = 27;
constexpr unsigned STAMP_BITS = 59;

enum Type : std::uint32_t { LongRecord = 0, Padding = 29, TimeExtend = 30, TimeStamp = 31 };

template <typename Number>
Number numberAt(std::span<const char> bytes, std::size_t at) {
    Number number = 0;
    if (at <= bytes.size() && bytes.size() - at >= sizeof number)
        std::memcpy(&number, bytes.data() + at, sizeof number);
    return number;
}

}  // namespace

std::uint64_t readBufferPage(std::span<const char> page,
                             const std::function<void(std::uint64_t, std::span<const char>)>& record) {
    if (page.size() < HEAD) return 0;
    auto stamp = numberAt<std::uint64_t>(page, 0);
    const auto flags = numberAt<std::uint64_t>(page, 8);
    const std::size_t length = std::min<std::size_t>(flags & LENGTH, page.size() - HEAD);
    const std::span<const char> data = page.subspan(HEAD, length);
    std::size_t at = 0;
    while (data.size() - at >= 8) {  // the shortest record
        const auto head = numberAt<std::uint32_t>(data, at);
        const auto next = numberAt<std::uint32_t>(data, at + 4);
        const std::uint32_t type = head & 31;
        const std::uint64_t delta = head >> 5;
        const std::uint64_t longDelta = delta + (std::uint64_t{next} << DELTA_BITS);
        std::size_t size = type == LongRecord || type == Padding ? next : std::size_t{type} * 4;
        if (type == TimeExtend || type == TimeStamp) {
            const std::uint64_t high = stamp >> STAMP_BITS << STAMP_BITS;
            stamp = type == TimeExtend ? stamp + longDelta : high | longDelta;
            at += 8;
            continue;
        }
        stamp += delta;
        if ((type == Padding && delta == 0) || size < 4 || data.size() - at - 4 < size) break;
        const std::size_t front = type == LongRecord ? 4 : 0;  // of the length itself
        if (type != Padding) record(stamp, data.subspan(at + 4 + front, size - front));
        at += 4 + (size + 3) / 4 * 4;
        if (at > data.size()) break;
    }
    if ((flags & IS_MISSING) == 0) return 0;
    const auto count = (flags & IS_COUNTED) != 0 ? numberAt<std::uint64_t>(page, HEAD + length) : 0;
    return std::max<std::uint64_t>(count, 1);
}

}  // namespace host::record
