#include "host/stream/plain_json.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

#include "host/base/text.h"

namespace host::stream {

namespace {

const char* skipBlanks(const char* at) {
    while (static_cast<unsigned char>(*at) <= ' ' && base::isJsonBlank(*at)) ++at;
    return at;
}

constexpr std::pair<std::string_view, Token::Type> WORDS[] = {
    {"null", Token::Null}, {"true", Token::True}, {"false", Token::False}};

constexpr std::ptrdiff_t LONGEST_NUMBER = 40;  // so that none is too large for a parser

// What a text goes on with: no quotation mark, no backslash, no control character, nothing beyond ASCII.
constexpr std::array<bool, 256> CONTINUES_TEXT = [] {
    std::array<bool, 256> continues{};
    for (std::size_t byte = ' '; byte < 128; ++byte) continues[byte] = byte != '"' && byte != '\\';
    return continues;
}();

// Operations take what begins at `at` and return where it ends; null if it is none of what is taken here,
// which the zero byte at the end never is.
class PlainReader {
public:
    explicit PlainReader(std::vector<Token>& tokens) : m_tokens(tokens) {}

    const char* read(const char* at) {
        while ((at = value_i(at)) != nullptr) {
            // After a value, the end of what it lies in may follow, and of what that lies in.
            for (at = skipBlanks(at); m_depth > 0 && *at == m_open[m_depth - 1].end; at = skipBlanks(at + 1))
                close_i();
            if (m_depth == 0) return at;
            if (*at != ',') return nullptr;
            at = skipBlanks(at + 1);
            if (isObject_i() && (at = key_i(at)) == nullptr) return nullptr;
        }
        return nullptr;
    }

private:
    static constexpr std::uint64_t MOST = (std::uint64_t{1} << 56) - 1;

    // An object or a list that has not ended.
    struct Open {
        std::size_t token;
        char end;  // ends it
    };

    bool isObject_i() const { return m_open[m_depth - 1].end == '}'; }

    const char* add_i(Token::Type type, const char* begin, const char* end) {
        m_tokens.push_back({begin, static_cast<std::uint64_t>(end - begin) & MOST, type});
        return end;
    }

    void close_i() {
        const std::size_t token = m_open[--m_depth].token;
        m_tokens[token].m_size = (m_tokens.size() - token) & MOST;
    }

    // Takes a value, of an object or list that is not empty all up to the end of its first one without parts.
    const char* value_i(const char* at) {
        while (*at == '{' || *at == '[') {
            if (m_depth == MAX_DEPTH) return nullptr;
            const bool isObject = *at == '{';
            m_open[m_depth++] = {m_tokens.size(), isObject ? '}' : ']'};
            add_i(isObject ? Token::Object : Token::List, nullptr, nullptr);
            at = skipBlanks(at + 1);
            if (*at == m_open[m_depth - 1].end) return close_i(), at + 1;
            if (isObject && (at = key_i(at)) == nullptr) return nullptr;
        }
        if (*at == '"') return text_i(at + 1);
        if (*at == '-' || base::isDigit(*at)) return number_i(at);
        return word_i(at);
    }

    // Takes a member's key and the colon.
    const char* key_i(const char* at) {
        if (*at != '"' || (at = text_i(at + 1)) == nullptr) return nullptr;
        at = skipBlanks(at);
        return *at == ':' ? skipBlanks(at + 1) : nullptr;
    }

    const char* text_i(const char* at) {
        const char* const begin = at;
        while (CONTINUES_TEXT[static_cast<unsigned char>(*at)]) ++at;
        return *at == '"' ? add_i(Token::Text, begin, at) + 1 : nullptr;
    }

    const char* word_i(const char* at) {
        for (const auto& [word, type] : WORDS)
            if (std::strncmp(at, word.data(), word.size()) == 0) return add_i(type, at, at) + word.size();
        return nullptr;
    }

    const char* number_i(const char* at) {
        const char* const begin = at;
        if (*at == '-') ++at;
        if (!base::isDigit(*at)) return nullptr;
        const bool isEnded = *at++ == '0';
        while (!isEnded && base::isDigit(*at)) ++at;
        if (*at == '.') {
            if (!base::isDigit(*++at)) return nullptr;
            while (base::isDigit(*at)) ++at;
        }
        if (*at == 'e' || *at == 'E' || at - begin > LONGEST_NUMBER) return nullptr;
        return add_i(Token::Number, begin, at);
    }

    std::vector<Token>& m_tokens;
    Open m_open[MAX_DEPTH];
    std::size_t m_depth = 0;
};

}  // namespace

bool readPlainJson(const char* text, std::size_t size, std::vector<Token>& tokens) {
    tokens.clear();
    const char* const end = PlainReader(tokens).read(skipBlanks(text));
    return end == text + size;
}

}  // namespace host::stream
