#include "host/model/handles.h"

#include "host/model/registry.h"

namespace host::model {

HandleTexts::HandleTexts(const std::string& name) : m_name(name), m_header(name), m_fieldName(name) {}

Handle::Handle(unsigned long id, const HandleTexts& texts, std::int32_t handleType)
    : DataHandle(id, texts.m_name, texts.m_header, texts.m_fieldName, handleType) {}

ExpectingHandle::ExpectingHandle(unsigned long id, const HandleTexts& texts, std::int32_t handleType,
                                 const std::vector<const pwr::Attribute*>& attributes)
    : Handle(id, texts, handleType) {
    m_attributes = attributes;
}

Attribute::Attribute(unsigned long id, const HandleTexts& texts, const pwr::Quantity* quantity,
                     pwr::AttributeType type)
    : pwr::Attribute(id, texts.m_name, texts.m_header, texts.m_fieldName, quantity, type) {}

Entity::Entity(unsigned long id, const HandleTexts& texts, const std::string& qualifiedName,
               std::int32_t handleType, const pwr::EntityHandle* parent)
    : EntityHandle(id, texts.m_name, texts.m_header, texts.m_fieldName, handleType) {
    m_qualifiedName = qualifiedName;
    if (parent != nullptr) m_parents.push_back(parent);
}

AttributeEntity::AttributeEntity(unsigned long id, const HandleTexts& texts, const std::string& qualifiedName,
                                 std::int32_t handleType, const pwr::EntityHandle* parent,
                                 const pwr::Quantity* quantity)
    : Entity(id, texts, qualifiedName, handleType, parent),
      Attribute(id, texts, quantity, pwr::ATTRIBUTE_DATA) {
    Attribute::m_handleType = handleType;
    Attribute::m_qualifiedName = qualifiedName;
}

Descriptor::Descriptor(unsigned long id, const HandleTexts& texts)
    : DataDescriptor(id, texts.m_name, texts.m_header, texts.m_fieldName) {}

Process::Process(unsigned long id, const std::string& name) : pwr::Process(id, name) {}

Thread::Thread(unsigned long id, const std::string& name) : pwr::Thread(id, name) {}

NameValuePair::NameValuePair(unsigned long id, const std::string& name) : pwr::NameValuePair(id, name) {}

}  // namespace host::model

namespace pwr {

DataHandle::DataHandle(unsigned long id, const std::string& name, const std::string& header,
                       const std::string& fieldName, std::int32_t handleType)
    : m_id(id),
      m_name(name),
      m_header(header),
      m_fieldName(fieldName),
      m_qualifiedName(name),
      m_handleType(handleType) {}

DataHandle::DataHandle(const DataHandle& other) = default;
DataHandle::~DataHandle() = default;

std::string DataHandle::getQualifiedName() const {
    return m_name;
}

const std::string& DataHandle::getName() const {
    return m_name;
}

const std::string& DataHandle::getHeader() const {
    return m_header;
}

const std::string& DataHandle::getFieldName() const {
    return m_fieldName;
}

int DataHandle::get(unsigned long id, const DataHandle*& out) {
    const host::model::HandleRecord* record = host::model::Registry::instance().findHandle(id);
    if (record == nullptr) return 1;
    out = record->m_handle;
    return 0;
}

Attribute::Attribute(unsigned long id, const std::string& name, const std::string& header,
                     const std::string& fieldName, const Quantity* quantity, AttributeType type)
    : DataHandle(id, name, header, fieldName, HANDLE_ATTRIBUTE),
      m_quantity(quantity),
      m_attributeType(type) {}

Attribute::~Attribute() = default;

const Attribute* Attribute::create(const std::string& name, const Quantity* quantity, AttributeType type) {
    auto& registry = host::model::Registry::instance();
    return registry.add(std::make_unique<host::model::Attribute>(
        registry.freshId(), host::model::HandleTexts(name), quantity, type));
}

AttributeValueManager::AttributeValueManager() = default;
AttributeValueManager::AttributeValueManager(const AttributeValueManager& other) = default;
AttributeValueManager::~AttributeValueManager() = default;

void AttributeValueManager::addAttributeValue(const Attribute* attribute, const Data& value) {
    if (m_values.emplace(attribute, value).second) m_order.emplace_back(attribute, value);
}

ExpectedAttributeManager::~ExpectedAttributeManager() = default;

DataDescriptorBuilder::DataDescriptorBuilder(const std::string& name, const std::string& fieldName)
    : m_name(name), m_fieldName(fieldName) {}

DataDescriptorBuilder::~DataDescriptorBuilder() = default;

DataDescriptor::DataDescriptor(unsigned long id, const std::string& name, const std::string& header,
                               const std::string& fieldName)
    : DataHandle(id, name, header, fieldName, HANDLE_DATA_DESCRIPTOR) {}

DataDescriptor::~DataDescriptor() = default;

const DataDescriptor* DataDescriptor::create(const DataDescriptorBuilder& builder) {
    auto& registry = host::model::Registry::instance();
    host::model::HandleTexts texts(builder.m_name);
    texts.m_fieldName = builder.m_fieldName;
    auto descriptor = std::make_unique<host::model::Descriptor>(registry.freshId(), texts);
    for (const auto& [attribute, value] : builder.m_attributes)
        descriptor->addAttributeValue(attribute, value);
    return registry.add(std::move(descriptor));
}

EntityHandle::EntityHandle(unsigned long id, const std::string& name, const std::string& header,
                           const std::string& fieldName, std::int32_t handleType)
    : DataHandle(id, name, header, fieldName, handleType), m_flags(0) {}

EntityHandle::EntityHandle(const EntityHandle& other) = default;
EntityHandle::~EntityHandle() = default;

std::string EntityHandle::getQualifiedName() const {
    return m_qualifiedName;
}

const EntityHandle* EntityHandle::getParent() const {
    return m_parents.empty() ? nullptr : m_parents.front();
}

Process::Process(unsigned long id, const std::string& name)
    : DataHandle(id, name, name, name, host::model::HANDLE_PROCESS) {}

Process::~Process() = default;

std::int32_t Process::getPid() const {
    return static_cast<const host::model::Process*>(this)->m_pid;
}

std::int32_t Process::getParentPid() const {
    return static_cast<const host::model::Process*>(this)->m_parentPid;
}

const std::string& Process::getPath() const {
    return static_cast<const host::model::Process*>(this)->m_path;
}

std::uint64_t Process::getStartTime() const {
    return static_cast<const host::model::Process*>(this)->m_startTime;
}

std::uint64_t Process::getEndTime() const {
    return static_cast<const host::model::Process*>(this)->m_endTime;
}

Thread::Thread(unsigned long id, const std::string& name)
    : DataHandle(id, name, name, name, host::model::HANDLE_THREAD) {}

Thread::~Thread() = default;

std::int32_t Thread::getTid() const {
    return static_cast<const host::model::Thread*>(this)->m_tid;
}

std::int32_t Thread::getPid() const {
    return static_cast<const host::model::Thread*>(this)->m_pid;
}

std::uint64_t Thread::getStartTime() const {
    return static_cast<const host::model::Thread*>(this)->m_startTime;
}

std::uint64_t Thread::getEndTime() const {
    return static_cast<const host::model::Thread*>(this)->m_endTime;
}

NameValuePair::NameValuePair(unsigned long id, const std::string& name)
    : DataHandle(id, name, name, name, host::model::HANDLE_NAME_VALUE) {}

NameValuePair::~NameValuePair() = default;

const std::string& NameValuePair::getInfoName() const {
    return static_cast<const host::model::NameValuePair*>(this)->m_infoName;
}

const std::string& NameValuePair::getValueDesc() const {
    return static_cast<const host::model::NameValuePair*>(this)->m_valueDescription;
}

std::int64_t NameValuePair::getValue() const {
    return static_cast<const host::model::NameValuePair*>(this)->m_value;
}

}  // namespace pwr
