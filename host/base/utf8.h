#pragma once

#include <cstddef>
#include <cstdint>

namespace host::base {

enum class Utf8Check : std::uint8_t { Good, ZeroByte, Control, Bad };

// Tells whether `size` bytes are UTF-8 (without surrogates, overlong forms and code points above U+10FFFF)
// and hold neither a zero byte nor another control character than tab and line ends.
Utf8Check checkUtf8(const char* text, std::size_t size);

}  // namespace host::base
