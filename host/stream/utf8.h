#pragma once

#include <cstddef>
#include <cstdint>

namespace host::stream {

enum class Utf8Check : std::uint8_t { Good, ZeroByte, Bad };

// Tells whether `size` bytes are UTF-8 (without surrogates, overlong forms and code points above U+10FFFF)
// and hold no zero byte.
Utf8Check checkUtf8(const char* text, std::size_t size);

}  // namespace host::stream
