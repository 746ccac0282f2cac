#include "host/stream/json_line.h"

#include <algorithm>
#include <cctype>
#include <cstring>

// The parser is compiled in a namespace of its own, so that its settings are no one else's.
#define RAPIDJSON_NAMESPACE host::stream::rapidjson
#define RAPIDJSON_NAMESPACE_BEGIN namespace host::stream::rapidjson {
#define RAPIDJSON_NAMESPACE_END }
#define RAPIDJSON_NO_SIZETYPEDEFINE
#if defined(__SSE2__)
#define RAPIDJSON_SSE2
#endif
namespace host::stream::rapidjson {
using SizeType = std::size_t;
}
#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

#include "host/base/utf8.h"
#include "host/stream/plain_json.h"

namespace host::stream {

namespace {

constexpr unsigned PARSE_FLAGS = rapidjson::kParseInsituFlag | rapidjson::kParseNumbersAsStringsFlag;

constexpr std::size_t MAX_LONG_NUMBERS = 16;  // of a line

// True if the line may hold an exponent: a digit and an "e".
bool mayHoldExponent(const char* text, std::size_t size) {
    unsigned found = 0;
    for (std::size_t i = 1; i < size; ++i) {
        const auto digit = static_cast<unsigned char>(text[i - 1] - '0');
        found |= static_cast<unsigned>(digit < 10) & static_cast<unsigned>((text[i] | 0x20) == 'e');
    }
    return found != 0;
}

// True if the text is a JSON number; an optional sign, fraction and exponent stand around digits.
bool isNumber(std::string_view text) {
    const auto takeDigits = [&text] {
        const std::size_t count = std::min(text.find_first_not_of("0123456789"), text.size());
        text.remove_prefix(count);
        return count > 0;
    };
    const auto take = [&text](std::string_view characters) {
        const bool isThere = !text.empty() && characters.find(text[0]) != characters.npos;
        if (isThere) text.remove_prefix(1);
        return isThere;
    };
    take("-");
    if (text.starts_with('0') ? (text.remove_prefix(1), false) : !takeDigits()) return false;
    if (take(".") && !takeDigits()) return false;
    if (take("eE")) {
        take("+-");
        if (!takeDigits()) return false;
    }
    return text.empty();
}

// True if a text of the line may hold half a surrogate pair, which can only be written as an escape.
bool mayHoldSurrogate(const char* text, std::size_t size) {
    const char* const end = text + size;
    while ((text = static_cast<const char*>(std::memchr(text, '\\', static_cast<std::size_t>(end - text)))) !=
           nullptr) {
        ++text;
        if (end - text >= 2 && text[0] == 'u' && (text[1] | 0x20) == 'd') return true;
    }
    return false;
}

// Takes the parser's events down as tokens.
class TokenWriter : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, TokenWriter> {
public:
    explicit TokenWriter(std::vector<Token>& tokens) : m_tokens(tokens) {}

    bool isTooDeep() const { return m_isTooDeep; }

    bool Null() { return add_i(Token::Null, nullptr, 0); }
    bool Bool(bool value) { return add_i(value ? Token::True : Token::False, nullptr, 0); }
    bool RawNumber(const char* text, std::size_t size, bool) { return add_i(Token::Number, text, size); }
    bool String(const char* text, std::size_t size, bool) { return add_i(Token::Text, text, size); }
    bool Key(const char* text, std::size_t size, bool) { return add_i(Token::Text, text, size); }
    bool StartObject() { return open_i(Token::Object); }
    bool EndObject(std::size_t) { return close_i(); }
    bool StartArray() { return open_i(Token::List); }
    bool EndArray(std::size_t) { return close_i(); }

private:
    bool add_i(Token::Type type, const char* text, std::size_t size) {
        Token& token = m_tokens.emplace_back();
        token.m_text = text;
        token.m_size = size & ((std::uint64_t{1} << 56) - 1);
        token.m_type = type;
        return true;
    }

    bool open_i(Token::Type type) {
        if (m_depth == MAX_DEPTH) {
            m_isTooDeep = true;
            return false;
        }
        m_open[m_depth++] = m_tokens.size();
        return add_i(type, nullptr, 0);
    }

    bool close_i() {
        const std::size_t opened = m_open[--m_depth];
        m_tokens[opened].m_size = (m_tokens.size() - opened) & ((std::uint64_t{1} << 56) - 1);
        return true;
    }

    std::vector<Token>& m_tokens;
    std::size_t m_open[MAX_DEPTH];
    std::size_t m_depth = 0;
    bool m_isTooDeep = false;
};

// `text` is what was parsed; after the place of the problem it is as it was.
std::string problemText(const rapidjson::ParseResult& result, const char* text) {
    const std::size_t place = result.Offset();
    std::string problem = rapidjson::GetParseError_En(result.Code());
    if (result.Code() == rapidjson::kParseErrorStringEscapeInvalid && text[place] != '\\')
        problem = "Control character in a text.";
    problem[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(problem[0])));
    if (problem.back() == '.') problem.pop_back();
    return "bad JSON at byte " + std::to_string(place + 1) + ": " + problem;
}

}  // namespace

std::string describe(const Token& token) {
    constexpr std::size_t LONGEST_NUMBER = 40;
    switch (token.type()) {
        case Token::Null:
            return "null";
        case Token::False:
            return "false";
        case Token::True:
            return "true";
        case Token::Number:
            if (token.m_size > LONGEST_NUMBER)
                return std::string(token.text().substr(0, LONGEST_NUMBER)) + "...";
            return std::string(token.text());
        case Token::Text:
            return "a text";
        case Token::Object:
            return "an object";
        default:
            return "a list";
    }
}

const Token* JsonLine::parse(char* text, std::size_t size, Fault& fault) {
    text[size] = '\0';
    if (readPlainJson(text, size, m_tokens)) return m_tokens.data();
    switch (base::checkUtf8(text, size)) {
        case base::Utf8Check::Good:
            break;
        case base::Utf8Check::ZeroByte:
            fault.set("a zero byte; in a text it is written \\u0000");
            return nullptr;
        case base::Utf8Check::Control:
            // The parser's fast path takes some of them.
            fault.set("a control character; in a text it is written \\u and its code");
            return nullptr;
        case base::Utf8Check::Bad:
            fault.set("not valid UTF-8");
            return nullptr;
    }
    const bool checksTexts = mayHoldSurrogate(text, size);
    m_longNumbers.clear();
    m_original.clear();
    if (mayHoldExponent(text, size)) m_original.assign(text, size);
    if (!parse_i(text, size, fault) || (checksTexts && !checkTexts_i(fault))) return nullptr;
    for (Token& token : m_tokens) {
        if (token.m_type != Token::Number) continue;
        for (const LongNumber& number : m_longNumbers) {
            if (token.m_text != text + number.place) continue;
            token.m_text = number.text.data();
            token.m_size = number.text.size() & ((std::uint64_t{1} << 56) - 1);
        }
    }
    return m_tokens.data();
}

// The parser goes by the size of a double before it has seen the whole number. What it refuses is kept from
// it, and judged by whoever reads the number.
bool JsonLine::parse_i(char* text, std::size_t size, Fault& fault) {
    for (;;) {
        m_tokens.clear();
        rapidjson::InsituStringStream stream(text);
        TokenWriter writer(m_tokens);
        rapidjson::Reader reader;
        const rapidjson::ParseResult result = reader.Parse<PARSE_FLAGS>(stream, writer);
        if (!result.IsError()) return true;
        if (result.Code() != rapidjson::kParseErrorNumberTooBig || !hideNumber_i(result.Offset())) {
            fault.set(writer.isTooDeep() ? "nested too deeply" : problemText(result, text));
            return false;
        }
        std::memcpy(text, m_original.data(), size);
    }
}

// Puts "0" and blanks in place of a number of the original line. Returns false if that is not possible.
bool JsonLine::hideNumber_i(std::size_t place) {
    if (m_original.empty() || m_longNumbers.size() == MAX_LONG_NUMBERS) return false;
    const std::size_t end =
        std::min(m_original.find_first_not_of("+-.0123456789eE", place), m_original.size());
    m_longNumbers.push_back({place, m_original.substr(place, end - place)});
    if (!isNumber(m_longNumbers.back().text)) return false;
    m_original.replace(place, end - place, end - place, ' ');
    m_original[place] = '0';
    return true;
}

bool JsonLine::checkTexts_i(Fault& fault) const {
    for (const Token& token : m_tokens) {
        if (token.m_type != Token::Text || base::isUtf8(token.text())) continue;
        fault.set("half of a surrogate pair in a text");
        return false;
    }
    return true;
}

}  // namespace host::stream
