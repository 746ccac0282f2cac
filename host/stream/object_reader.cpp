#include "host/stream/object_reader.h"

namespace host::stream {

ObjectReader::ObjectReader(const Token& object, Fault& fault) : m_fault(fault) {
    if (object.m_type != Token::Object) {
        setExpected("an object", object, m_fault);
        return;
    }
    for (const Token* key = object.begin(); key != object.end(); key = (key + 1)->next()) {
        if (m_count == MAX_MEMBERS) {
            m_fault.set("an object with more than " + std::to_string(MAX_MEMBERS) + " keys");
            return;
        }
        m_members[m_count++] = {key, key + 1, false};
    }
}

const Token* ObjectReader::findAny(std::string_view key) {
    if (m_fault.isSet()) return nullptr;
    const Token* found = nullptr;
    for (std::size_t i = 0; i < m_count; ++i) {
        Member& member = m_members[i];
        if (member.m_key->text() != key) continue;
        if (found != nullptr) {
            m_fault.set("key " + quoted(key) + " occurs twice");
            return nullptr;
        }
        member.m_isRead = true;
        found = member.m_value;
    }
    return found;
}

const Token* ObjectReader::require(std::string_view key) {
    const Token* const token = find(key);
    if (token == nullptr) m_fault.set("missing key " + quoted(key));
    return token;
}

bool ObjectReader::finish() {
    for (std::size_t i = 0; i < m_count && !m_fault.isSet(); ++i)
        if (!m_members[i].m_isRead) m_fault.set("unknown key " + quoted(m_members[i].m_key->text()));
    return !m_fault.isSet();
}

}  // namespace host::stream
