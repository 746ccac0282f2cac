#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/stream/fault.h"

namespace host::stream {

// A value of a line. The tokens of a line lie in one flat list: a list is followed by its items, an object by
// key (a Text) and value in turn.
struct Token {
    enum Type : std::uint8_t { Null, False, True, Number, Text, Object, List };

    const char* m_text = nullptr;   // of a number as written, or of a text
    std::uint64_t m_size : 56 = 0;  // bytes of the text; of an object or list: tokens including itself
    std::uint64_t m_type : 8 = Null;

    Type type() const { return static_cast<Type>(m_type); }
    std::string_view text() const { return {m_text, m_size}; }

    // Of an object or list: its first token, and the one after its last.
    const Token* begin() const { return this + 1; }
    const Token* end() const { return this + m_size; }

    // The token after this value.
    const Token* next() const { return m_type >= Object ? end() : this + 1; }
};

static_assert(sizeof(Token) == 16);

// The value for a message: "an object", "a text", or the number as written.
std::string describe(const Token& token);

// Parses lines, one at a time. The memory of the list of tokens is kept from line to line.
class JsonLine {
public:
    // Writable bytes that must follow a line's text. The first is overwritten; the others are only read.
    static constexpr std::size_t PADDING = 32;

    // Parses `size` bytes at `text` in place: the tokens refer to them. Returns the line's value, valid until
    // the next call, or null with `fault` set.
    const Token* parse(char* text, std::size_t size, Fault& fault);

private:
    // A number that the parser refuses for its size, though it may be in range.
    struct LongNumber {
        std::size_t place;
        std::string text;
    };
    bool parse_i(char* text, std::size_t size, Fault& fault);
    bool hideNumber_i(std::size_t place);
    bool checkTexts_i(Fault& fault) const;

    std::vector<Token> m_tokens;
    std::string m_original;  // of a line with exponents
    std::vector<LongNumber> m_longNumbers;
};

}  // namespace host::stream
