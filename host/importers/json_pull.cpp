#include "host/importers/json_pull.h"

#include <charconv>
#include <cstdlib>
#include <limits>

#include "host/base/text.h"

namespace host::importers {

namespace {

constexpr std::size_t LONGEST_NUMBER = 400;

bool isOfNumber(char character) {
    return base::isDigit(character) || character == '-' || character == '+' || character == '.' ||
           character == 'e' || character == 'E';
}

bool isOfWord(char character) {
    return isOfNumber(character) || (character >= 'a' && character <= 'z');
}

void appendUtf8(std::string& out, std::uint32_t code) {
    const auto put = [&out](std::uint32_t byte) { out.push_back(static_cast<char>(byte)); };
    if (code < 0x80) return put(code);
    if (code < 0x800) {
        put(0xC0 | code >> 6);
    } else if (code < 0x10000) {
        put(0xE0 | code >> 12);
        put(0x80 | (code >> 6 & 0x3F));
    } else {
        put(0xF0 | code >> 18);
        put(0x80 | (code >> 12 & 0x3F));
        put(0x80 | (code >> 6 & 0x3F));
    }
    put(0x80 | (code & 0x3F));
}

}  // namespace

void JsonPull::fail(const std::string& what) {
    if (m_fault.empty()) m_fault = what;
}

char JsonPull::next_i() {
    if (failed()) return '\0';
    for (;;) {
        const std::string_view bytes = m_content.peek(1);
        if (bytes.empty()) {
            fail("the file ends in the middle");
            return '\0';
        }
        if (!base::isJsonBlank(bytes.front())) return bytes.front();
        m_content.skip(1);
    }
}

bool JsonPull::take_i(char character) {
    const char next = next_i();
    if (failed()) return false;
    if (next == character) {
        m_content.skip(1);
        return true;
    }
    fail(std::string("found '") + next + "' in place of '" + character + "'");
    return false;
}

bool JsonPull::enter_i(char bracket) {
    m_isFirst = take_i(bracket);
    return m_isFirst;
}

// Leaves the object or list at `bracket`, otherwise goes on to its next part.
bool JsonPull::goOn_i(char bracket) {
    const bool isFirst = m_isFirst;
    m_isFirst = false;
    if (next_i() == bracket) {
        m_content.skip(1);
        return false;
    }
    return !failed() && (isFirst || take_i(','));
}

bool JsonPull::nextKey(std::string& key) {
    if (!goOn_i('}')) return false;
    key.clear();
    appendText_i(key);
    return take_i(':');
}

std::string JsonPull::text() {
    std::string text;
    appendText_i(text);
    return text;
}

void JsonPull::appendText_i(std::string& out) {
    if (!take_i('"')) return;
    for (;;) {
        const std::string_view bytes = m_content.peek(1);
        if (bytes.empty()) return fail("the file ends inside a text");
        std::size_t plain = 0;
        while (plain < bytes.size() && bytes[plain] != '"' && bytes[plain] != '\\' &&
               static_cast<unsigned char>(bytes[plain]) >= 0x20)
            ++plain;
        out.append(bytes.substr(0, plain));
        if (plain == bytes.size()) {
            m_content.skip(plain);
            continue;
        }
        const char stop = bytes[plain];
        m_content.skip(plain + 1);
        if (stop == '"') return;
        if (stop != '\\') return fail("a control character inside a text");
        appendEscape_i(out);
        if (failed()) return;
    }
}

void JsonPull::appendEscape_i(std::string& out) {
    constexpr std::string_view LETTERS = "\"\\/bfnrt";
    constexpr std::string_view CHARACTERS = "\"\\/\b\f\n\r\t";
    const std::string_view bytes = m_content.peek(1);
    const char letter = bytes.empty() ? '\0' : bytes.front();
    if (const std::size_t place = LETTERS.find(letter); letter != '\0' && place != LETTERS.npos) {
        m_content.skip(1);
        return out.push_back(CHARACTERS[place]);
    }
    if (letter != 'u') return fail("an unknown escape inside a text");
    m_content.skip(1);
    std::uint32_t code = 0;
    if (!codeUnit_i(code)) return;
    if (code >= 0xD800 && code < 0xDC00 && m_content.peek(2).starts_with("\\u")) {
        m_content.skip(2);
        std::uint32_t low = 0;
        if (!codeUnit_i(low)) return;
        code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
    }
    const bool isCharacter = code < 0x110000 && (code < 0xD800 || code > 0xDFFF);
    appendUtf8(out, isCharacter ? code : 0xFFFD);
}

bool JsonPull::codeUnit_i(std::uint32_t& unit) {
    const std::string_view digits = m_content.peek(4).substr(0, 4);
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), unit, 16);
    if (result.ptr != digits.data() + 4) fail("an unknown escape inside a text");
    if (!failed()) m_content.skip(4);
    return !failed();
}

// Takes a number or one of the words "true", "false" and "null".
std::string_view JsonPull::word_i() {
    next_i();
    if (failed()) return {};
    std::string_view bytes = m_content.peek(LONGEST_NUMBER);
    std::size_t size = 0;
    while (size < bytes.size() && isOfWord(bytes[size])) ++size;
    if (size == bytes.size()) fail("the file ends in the middle");
    m_word.assign(bytes.substr(0, size));
    m_content.skip(size);
    return failed() ? std::string_view() : m_word;
}

double JsonPull::number() {
    const char next = next_i();
    if (next == ',' || next == '}') return std::numeric_limits<double>::quiet_NaN();
    const std::string_view word = word_i();
    if (failed()) return 0;
    if (word == "null") return std::numeric_limits<double>::quiet_NaN();
    double value = 0;
    const auto result = std::from_chars(word.data(), word.data() + word.size(), value);
    if (result.ptr != word.data() + word.size() || word.empty()) fail("no number where one should be");
    // Beyond the range of the type: an infinity, or what is next to zero.
    if (result.ec == std::errc::result_out_of_range) value = std::strtod(m_word.c_str(), nullptr);
    return value;
}

template <typename Integer>
Integer JsonPull::whole_i() {
    const std::string_view word = word_i();
    Integer value = 0;
    const auto result = std::from_chars(word.data(), word.data() + word.size(), value);
    if (!failed() && (result.ec != std::errc() || result.ptr != word.data() + word.size()))
        fail("no whole number where one should be");
    return value;
}

std::uint64_t JsonPull::whole() {
    return whole_i<std::uint64_t>();
}

std::int64_t JsonPull::signedWhole() {
    return whole_i<std::int64_t>();
}

std::string JsonPull::scalar() {
    return isText() ? text() : std::string(word_i());
}

bool JsonPull::truth() {
    const std::string_view word = word_i();
    if (!failed() && word != "true" && word != "false") fail("neither true nor false");
    return word == "true";
}

void JsonPull::skip() {
    std::size_t depth = 0;
    std::string ignored;
    do {
        const char next = next_i();
        if (next == '"') {
            ignored.clear();
            appendText_i(ignored);
        } else if (isOfWord(next)) {
            word_i();
        } else if ((next == ',' || next == ':') && depth > 0) {
            m_content.skip(1);
            continue;
        } else if (next == '{' || next == '[') {
            m_content.skip(1);
            ++depth;
        } else if ((next == '}' || next == ']') && depth > 0) {
            m_content.skip(1);
            --depth;
        } else if (!failed()) {
            fail(std::string("found '") + next + "' in place of a value");
        }
    } while (depth > 0 && !failed());
}

}  // namespace host::importers
