// UTF-8, without surrogates, overlong forms and code points above U+10FFFF.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace host::base {

enum class Utf8Check : std::uint8_t { Good, ZeroByte, Control, Bad };

// Says whether `size` bytes are UTF-8 and hold neither a zero byte nor another control character than tab
// and line ends.
Utf8Check checkUtf8(const char* text, std::size_t size);

// True if the text is UTF-8, whichever characters it holds.
bool isUtf8(std::string_view text);

// The text with U+FFFD for every byte that belongs to no UTF-8 character.
std::string toUtf8(std::string_view text);

// The first `limit` bytes of a UTF-8 text or a little less, so that no character is cut.
std::string cutUtf8(const std::string& text, std::size_t limit);

}  // namespace host::base
