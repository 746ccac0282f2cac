#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pwr/api.h"
#include "pwr/attribute.h"
#include "pwr/data_handle.h"

namespace pwr {

// Something that is measured: a core, a sensor, a process.
class PWR_HOST_API EntityHandle : public DataHandle, public AttributeValueManager {
public:
    EntityHandle(const EntityHandle& other);
    ~EntityHandle() override;

    // The text that stands for the entity in a column name, such as a path through its parents.
    std::string getQualifiedName() const override;

    // The entity that this one is a part of, or null. Owned by the host.
    const EntityHandle* getParent() const;

protected:
    EntityHandle(unsigned long id, const std::string& name, const std::string& header,
                 const std::string& fieldName, std::int32_t handleType);

    std::uint64_t m_flags;                       // the host's; writers only copy it
    std::vector<const EntityHandle*> m_parents;  // the host's; writers only copy it
};

}  // namespace pwr
