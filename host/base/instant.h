#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace host::base {

// Reads a point in time, "2026-11-21T09:06:56.5Z" or with an offset as "+01:00" (RFC 3339), or as seconds
// since 1970-01-01 00:00 UTC, "1795252016.5". Returns nanoseconds since then, of which further digits are
// dropped, or nothing if the text is neither, or not between 1970 and 2262.
std::optional<std::uint64_t> parseInstant(std::string_view text);

// The same point in local time to the second, as "2026-11-21 10:06:56".
std::string localTimeText(std::uint64_t nanoseconds);

}  // namespace host::base
