#include "host/stream/references.h"

#include <string>

#include "host/stream/token_reader.h"

namespace host::stream {

namespace {

void setNoSuch(const char* what, const Token& token, Fault& fault) {
    fault.set("no " + std::string(what) + " with id " + describe(token));
}

void setNot(const char* what, const Token& token, Fault& fault) {
    fault.set("the handle with id " + describe(token) + " is no " + what);
}

}  // namespace

const model::HandleRecord* References::record(const Token& token) const {
    std::uint64_t id = 0;
    if (readPlainInteger(token, id) && id <= model::Registry::MAX_HANDLE_ID) {
        const model::HandleRecord* const record = m_registry.findHandle(id);
        if (record != nullptr) return record;
    }
    readInteger<std::uint64_t>(token, m_fault, 1, model::Registry::MAX_HANDLE_ID);
    setNoSuch("handle", token, m_fault);
    return nullptr;
}

const pwr::DataHandle* References::handle(const Token& token) const {
    const model::HandleRecord* const found = record(token);
    return found != nullptr ? found->m_handle : nullptr;
}

const pwr::EntityHandle* References::entity(const Token& token) const {
    const model::HandleRecord* const found = record(token);
    if (found == nullptr) return nullptr;
    if (found->m_entity == nullptr) setNot("entity", token, m_fault);
    return found->m_entity;
}

const pwr::Attribute* References::attribute(const Token& token) const {
    const model::HandleRecord* const found = record(token);
    if (found == nullptr) return nullptr;
    if (found->m_attribute == nullptr) setNot("attribute", token, m_fault);
    return found->m_attribute;
}

const pwr::DataDescriptor* References::descriptor(const Token& token) const {
    const model::HandleRecord* const found = record(token);
    if (found == nullptr) return nullptr;
    if (found->m_descriptor == nullptr) setNot("descriptor", token, m_fault);
    return found->m_descriptor;
}

const pwr::Quantity* References::quantity(const Token& token) const {
    const auto id = readInteger<std::uint64_t>(token, m_fault, 1, model::Registry::MAX_QUANTITY_ID);
    if (m_fault.isSet()) return nullptr;
    const pwr::Quantity* const found = m_registry.findQuantity(id);
    if (found == nullptr) setNoSuch("quantity", token, m_fault);
    return found;
}

const pwr::DataHandle* References::handleOrNull(const Token& token) const {
    return token.m_type == Token::Null ? nullptr : handle(token);
}

const pwr::EntityHandle* References::entityOrNull(const Token& token) const {
    return token.m_type == Token::Null ? nullptr : entity(token);
}

const pwr::Attribute* References::attributeOrNull(const Token& token) const {
    return token.m_type == Token::Null ? nullptr : attribute(token);
}

const pwr::DataDescriptor* References::descriptorOrNull(const Token& token) const {
    return token.m_type == Token::Null ? nullptr : descriptor(token);
}

const pwr::Quantity* References::quantityOrNull(const Token& token) const {
    return token.m_type == Token::Null ? nullptr : quantity(token);
}

}  // namespace host::stream
