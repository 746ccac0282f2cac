// The handles that the host makes. Each keeps what its base declares and adds a public constructor.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pwr/attribute.h"
#include "pwr/data_descriptor.h"
#include "pwr/data_handle.h"
#include "pwr/entity_handle.h"
#include "pwr/process.h"

namespace host::model {

// Handle types of the host's own; the writers test none of them.
enum HostHandleType : std::int32_t {
    HANDLE_PLAIN = 1,
    HANDLE_PROCESS = 3,
    HANDLE_THREAD = 4,
    HANDLE_NAME_VALUE = 5,
};

// The texts that all handles have.
struct HandleTexts {
    // All three are `name`.
    explicit HandleTexts(const std::string& name = std::string());

    std::string m_name;
    std::string m_header;
    std::string m_fieldName;
};

class Handle : public pwr::DataHandle {
public:
    Handle(unsigned long id, const HandleTexts& texts, std::int32_t handleType);
};

// A handle that says which attributes an entity is expected to report.
class ExpectingHandle : public Handle, public pwr::ExpectedAttributeManager {
public:
    ExpectingHandle(unsigned long id, const HandleTexts& texts, std::int32_t handleType,
                    const std::vector<const pwr::Attribute*>& attributes);
};

class Attribute : public pwr::Attribute {
public:
    Attribute(unsigned long id, const HandleTexts& texts, const pwr::Quantity* quantity,
              pwr::AttributeType type);
};

class Entity : public pwr::EntityHandle {
public:
    // `parent` may be null.
    Entity(unsigned long id, const HandleTexts& texts, const std::string& qualifiedName,
           std::int32_t handleType, const pwr::EntityHandle* parent);
};

// An entity that is an attribute too. Both sides have the same id and texts.
class AttributeEntity : public Entity, public Attribute {
public:
    AttributeEntity(unsigned long id, const HandleTexts& texts, const std::string& qualifiedName,
                    std::int32_t handleType, const pwr::EntityHandle* parent, const pwr::Quantity* quantity);
};

class Descriptor : public pwr::DataDescriptor {
public:
    Descriptor(unsigned long id, const HandleTexts& texts);
};

class Process : public pwr::Process {
public:
    Process(unsigned long id, const std::string& name);

    std::int32_t m_pid = 0;
    std::int32_t m_parentPid = 0;
    std::string m_path;
    std::uint64_t m_startTime = 0;  // ticks
    std::uint64_t m_endTime = 0;    // ticks
};

class Thread : public pwr::Thread {
public:
    Thread(unsigned long id, const std::string& name);

    std::int32_t m_tid = 0;
    std::int32_t m_pid = 0;
    std::uint64_t m_startTime = 0;  // ticks
    std::uint64_t m_endTime = 0;    // ticks
};

class NameValuePair : public pwr::NameValuePair {
public:
    NameValuePair(unsigned long id, const std::string& name);

    std::string m_infoName;
    std::string m_valueDescription;
    std::int64_t m_value = 0;
};

}  // namespace host::model
