#include "host/stream/element_reader.h"

#include <string>

#include "host/stream/token_reader.h"
#include "host/stream/value_reader.h"
#include "host/stream/vocabulary.h"

namespace host::stream {

namespace {

enum Member : unsigned {
    UNKNOWN,
    ENTITY = 1,
    DESCRIPTOR = 2,
    DURATION = 4,
    VALUE = 8,
    INFO = 16,
    VYRTA_DESCRIPTOR = 32,
};

Member memberOf(std::string_view key) {
    if (key.size() == 1) {
        switch (key[0]) {
            case element::ENTITY:
                return ENTITY;
            case element::DESCRIPTOR:
                return DESCRIPTOR;
            case element::VALUE:
                return VALUE;
            default:
                return UNKNOWN;
        }
    }
    if (key == key::DURATION) return DURATION;
    if (key == key::INFO) return INFO;
    if (key == key::VYRTA_DESCRIPTOR) return VYRTA_DESCRIPTOR;
    return UNKNOWN;
}

void readInfo(const Token& token, const References& references, model::Element& element) {
    Fault& fault = references.fault();
    element.m_hasInfo = true;
    readItems(key::INFO, token, fault, [&](const Token& item) {
        const Token* parts[2];
        if (!splitList(item, 2, parts, fault)) return;
        const auto id = readInteger<unsigned long>(*parts[0], fault);
        model::Value value;
        readValue(*parts[1], references, value);
        if (!fault.isSet() && !element.m_info.add(id, value))
            fault.set("attribute " + std::to_string(id) + " occurs twice");
    });
}

void readMember(Member member, const Token& token, const References& references, model::Element& element) {
    switch (member) {
        case ENTITY:
            element.m_entity = references.entityOrNull(token);
            break;
        case DESCRIPTOR:
            element.m_descriptor = references.descriptorOrNull(token);
            break;
        case DURATION:
            if (token.m_type != Token::Null && !readPlainInteger(token, element.m_duration))
                element.m_duration = readInteger<std::uint64_t>(token, references.fault());
            break;
        case VALUE:
            readValue(token, references, element.m_value);
            break;
        case INFO:
            if (token.m_type != Token::Null) readInfo(token, references, element);
            return;
        case VYRTA_DESCRIPTOR:
            element.m_vyrtaDescriptor = references.descriptorOrNull(token);
            break;
        case UNKNOWN:
            return;
    }
}

}  // namespace

void readElement(const Token& token, const References& references, model::Element& element) {
    Fault& fault = references.fault();
    if (token.m_type != Token::Object) {
        setExpected("an object", token, fault);
        return;
    }
    unsigned seen = 0;
    for (const Token* key = token.begin(); key != token.end(); key = (key + 1)->next()) {
        const Member member = memberOf(key->text());
        if (member == UNKNOWN) return fault.set("unknown key " + quoted(key->text()));
        if ((seen & member) != 0) return fault.set("key " + quoted(key->text()) + " occurs twice");
        seen |= member;
        readMember(member, *(key + 1), references, element);
        if (fault.isSet()) {
            if (member != INFO) fault.in(key->text());
            return;
        }
    }
    if (element.m_entity == nullptr) fault.set("missing key \"e\"");
}

}  // namespace host::stream
