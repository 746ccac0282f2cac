#pragma once

#include <cstdint>

#include "host/model/registry.h"
#include "host/stream/fault.h"
#include "host/stream/json_line.h"

namespace host::stream {

// Reads ids of things that have been defined. An id of anything else is a fault.
class References {
public:
    References(const model::Registry& registry, Fault& fault) : m_registry(registry), m_fault(fault) {}

    // Return null only after a fault.
    const model::HandleRecord* record(const Token& token) const;
    const pwr::DataHandle* handle(const Token& token) const;
    const pwr::EntityHandle* entity(const Token& token) const;
    const pwr::Attribute* attribute(const Token& token) const;
    const pwr::DataDescriptor* descriptor(const Token& token) const;
    const pwr::Quantity* quantity(const Token& token) const;

    // The same, but a null token gives null without a fault.
    const pwr::DataHandle* handleOrNull(const Token& token) const;
    const pwr::EntityHandle* entityOrNull(const Token& token) const;
    const pwr::Attribute* attributeOrNull(const Token& token) const;
    const pwr::DataDescriptor* descriptorOrNull(const Token& token) const;
    const pwr::Quantity* quantityOrNull(const Token& token) const;

    Fault& fault() const { return m_fault; }

private:
    const model::Registry& m_registry;
    Fault& m_fault;
};

}  // namespace host::stream
