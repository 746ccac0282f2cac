#pragma once

#include <string>

#include "pwr/api.h"
#include "pwr/attribute.h"
#include "pwr/data_handle.h"

namespace pwr {

// Collects what a new descriptor is made from.
class PWR_HOST_API DataDescriptorBuilder {
public:
    // `name` is the descriptor's name, `fieldName` its field name.
    DataDescriptorBuilder(const std::string& name, const std::string& fieldName);
    ~DataDescriptorBuilder();

    std::string m_name;
    std::string m_fieldName;
    AttributeValueManager m_attributes;  // add values here before DataDescriptor::create
};

// Describes a value, mostly the state in which an entity was. Handle type 9.
class PWR_HOST_API DataDescriptor : public DataHandle, public AttributeValueManager {
public:
    ~DataDescriptor() override;

    // Makes a new descriptor with an id of its own, which the host owns. Never returns null.
    static const DataDescriptor* create(const DataDescriptorBuilder& builder);

protected:
    DataDescriptor(unsigned long id, const std::string& name, const std::string& header,
                   const std::string& fieldName);
};

}  // namespace pwr
