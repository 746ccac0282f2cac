#include "host/stream/value_reader.h"

#include <algorithm>
#include <iterator>

#include "host/stream/token_reader.h"
#include "host/stream/vocabulary.h"

namespace host::stream {

namespace {

constexpr char KINDS[] = {value::INT, value::UINT, value::REAL, value::HANDLE, value::STRING};

void readInt(const Token& token, Fault& fault, model::Value& out) {
    if (token.m_type != Token::List) {
        out.setInt(readInteger<long>(token, fault));
        return;
    }
    const Token* ends[2];
    if (!splitList(token, 2, ends, fault)) return;
    const long low = readInteger<long>(*ends[0], fault);
    out.setIntRange(low, readInteger<long>(*ends[1], fault));
}

void readUInt(const Token& token, Fault& fault, model::Value& out) {
    if (token.m_type != Token::List) {
        out.setUInt(readInteger<unsigned long>(token, fault));
        return;
    }
    const Token* ends[2];
    if (!splitList(token, 2, ends, fault)) return;
    const unsigned long low = readInteger<unsigned long>(*ends[0], fault);
    out.setUIntRange(low, readInteger<unsigned long>(*ends[1], fault));
}

void readRealValue(const Token& token, Fault& fault, model::Value& out) {
    if (token.m_type != Token::List) {
        out.setReal(readReal(token, fault));
        return;
    }
    const Token* ends[2];
    if (!splitList(token, 2, ends, fault)) return;
    const double low = readReal(*ends[0], fault);
    out.setRealRange(low, readReal(*ends[1], fault));
}

// `kind` is one of the five keys.
void readKind(char kind, const Token& token, const References& references, model::Value& out) {
    Fault& fault = references.fault();
    switch (kind) {
        case value::INT:
            return readInt(token, fault, out);
        case value::UINT:
            return readUInt(token, fault, out);
        case value::REAL:
            return readRealValue(token, fault, out);
        case value::HANDLE:
            return out.setHandle(references.handleOrNull(token));
        default:
            return out.setString(readText(token, fault));
    }
}

}  // namespace

void readValue(const Token& token, const References& references, model::Value& out) {
    if (token.m_type == Token::Null) {
        out.setNone();
        return;
    }
    Fault& fault = references.fault();
    if (token.m_type != Token::Object) {
        setExpected("a value, such as {\"i\": 1}", token, fault);
        return;
    }
    const Token* const key = token.begin();
    if (key == token.end() || (key + 1)->next() != token.end()) {
        fault.set("a value has exactly one key");
        return;
    }
    if (key->m_size != 1 ||
        std::find(std::begin(KINDS), std::end(KINDS), key->m_text[0]) == std::end(KINDS)) {
        fault.set("unknown kind of value " + quoted(key->text()));
        return;
    }
    readKind(key->m_text[0], *(key + 1), references, out);
    if (fault.isSet()) fault.in(key->text());
}

}  // namespace host::stream
