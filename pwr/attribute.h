#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "pwr/api.h"
#include "pwr/data.h"
#include "pwr/data_handle.h"

namespace pwr {

class Quantity;

// What the values of an attribute are. The host may use further values.
enum AttributeType : std::int32_t {
    ATTRIBUTE_DATA = 1,
    ATTRIBUTE_PROCESS = 3,
    ATTRIBUTE_THREAD = 4,
    ATTRIBUTE_NAME_VALUE = 5,
};

// A named property of an entity, a descriptor or a sample. An entity handle of type 0 may be an attribute
// too: it is reached by a cross-cast.
class PWR_HOST_API Attribute : public DataHandle {
public:
    ~Attribute() override;

    // Makes a new attribute with an id of its own, which the host owns.
    // `quantity` may be null. Never returns null.
    static const Attribute* create(const std::string& name, const Quantity* quantity, AttributeType type);

    const Quantity* m_quantity;  // what the values measure; null for none; owned by the host
    AttributeType m_attributeType;

protected:
    Attribute(unsigned long id, const std::string& name, const std::string& header,
              const std::string& fieldName, const Quantity* quantity, AttributeType type);
};

// The attribute values of an entity or a descriptor, in order of insertion. The first one stands for a
// descriptor's state. An attribute pointer may be null.
class PWR_HOST_API AttributeValueManager {
public:
    using Value = std::pair<const Attribute*, Data>;
    using const_iterator = std::vector<Value>::const_iterator;

    AttributeValueManager();
    AttributeValueManager(const AttributeValueManager& other);
    ~AttributeValueManager();

    const_iterator begin() const { return m_order.begin(); }
    const_iterator end() const { return m_order.end(); }
    std::size_t getAttributeCount() const { return m_order.size(); }

    // Appends a copy of `value` under `attribute`, which the host owns. An attribute already present keeps
    // its first value.
    void addAttributeValue(const Attribute* attribute, const Data& value);

private:
    std::map<const Attribute*, Data> m_values;
    std::vector<Value> m_order;
};

// Attribute values that come with one element of a sample, keyed by attribute id, in ascending order.
// The ids are resolved by pwr::DataHandle::get and may be unknown.
class PWR_HOST_API DynamicAttributeValueManager {
public:
    using const_iterator = std::map<unsigned long, Data>::const_iterator;

    const_iterator begin() const { return m_values.begin(); }
    const_iterator end() const { return m_values.end(); }

protected:
    DynamicAttributeValueManager() = default;
    ~DynamicAttributeValueManager() = default;

    std::map<unsigned long, Data> m_values;
};

// The attributes that an entity is expected to report; reached from a handle by a cross-cast.
class PWR_HOST_API ExpectedAttributeManager {
public:
    using const_iterator = std::vector<const Attribute*>::const_iterator;

    virtual ~ExpectedAttributeManager();

    const_iterator begin() const { return m_attributes.begin(); }
    const_iterator end() const { return m_attributes.end(); }
    std::size_t getAttributeCount() const { return m_attributes.size(); }

protected:
    std::vector<const Attribute*> m_attributes;  // owned by the host
};

}  // namespace pwr
