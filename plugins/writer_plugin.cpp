#include "plugins/writer_plugin.h"

#include "plugins/log.h"
#include "plugins/plugin_capability.h"
#include "plugins/value_text.h"
#include "pwr/attribute.h"
#include "pwr/quantity.h"
#include "pwr/table_message.h"

namespace {

std::string cellOf(const pwr::TableMessage& message, const pwr::DataHandle* handle) {
    std::string value = "Invalid";
    bool valid = false;
    if (handle != nullptr && message.getFieldAsString(handle, value, valid) == 0 && !valid) value.clear();
    return value;
}

}  // namespace

WriterPlugin::~WriterPlugin() = default;

void WriterPlugin::addCapability(pwr::PluginCapability* capability) {
    if (m_capabilities.empty()) {
        Plugin::addCapability(capability);
        return;
    }
    LOG_WARNING("Illegal attempt to register a second capabliity for a writer plugin...ignored\n");
}

bool WriterPlugin::flushContinuousResults(const pwr::SystemMetadata&) {
    return false;
}

std::int32_t WriterPlugin::writeMessage(const pwr::TableMessage&) {
    return 0;
}
std::int32_t WriterPlugin::writeMessage(const pwr::TextMessage&) {
    return 0;
}
std::int32_t WriterPlugin::writeMessage(const pwr::SystemMessage&) {
    return 0;
}
std::int32_t WriterPlugin::writeMessage(const pwr::IdMessage&) {
    return 0;
}
std::int32_t WriterPlugin::writeMessage(const pwr::Metric&) {
    return 0;
}
std::int32_t WriterPlugin::writeMessage(const pwr::MetricContainerInfoMessage&) {
    return 0;
}

void WriterPlugin::getColumnTitles(const pwr::TableMessage& message, std::deque<std::string>& titles) const {
    for (auto it = message.sharedHandlesBegin(); it != message.sharedHandlesEnd(); ++it)
        titles.push_back(nameOf(*it));
    if (message.getEntityCount() == 0) {
        for (auto it = message.handlesBegin(); it != message.handlesEnd(); ++it)
            titles.push_back(nameOf(*it));
        return;
    }
    for (auto entity = message.entitiesBegin(); entity != message.entitiesEnd(); ++entity)
        for (auto it = message.handlesBegin(); it != message.handlesEnd(); ++it)
            titles.push_back(getFieldNameFromHandle(message, *entity, *it));
}

void WriterPlugin::getRowValues(const pwr::TableMessage& message, std::deque<std::string>& values) const {
    for (auto it = message.sharedHandlesBegin(); it != message.sharedHandlesEnd(); ++it)
        values.push_back(cellOf(message, *it));
    if (message.getEntityCount() == 0) {
        for (auto it = message.handlesBegin(); it != message.handlesEnd(); ++it)
            values.push_back(cellOf(message, *it));
        return;
    }
    for (auto entity = message.entitiesBegin(); entity != message.entitiesEnd(); ++entity)
        for (auto it = message.handlesBegin(); it != message.handlesEnd(); ++it)
            values.push_back(getFieldValueFromHandle(message, *entity, *it));
}

std::string WriterPlugin::getFieldNameFromHandle(const pwr::TableMessage& message,
                                                 const pwr::EntityHandle* entity,
                                                 const pwr::DataHandle* handle) const {
    const bool namedByEntity = entity != nullptr && message.getHandleCount() == 1;
    std::string name = nameOf(namedByEntity ? entity : handle);
    if (entity == nullptr || entity->getHandleType() != pwr::HANDLE_ATTRIBUTE) return name;
    const auto* attribute = dynamic_cast<const pwr::Attribute*>(entity);
    if (attribute == nullptr || attribute->m_quantity == nullptr) return name;
    if (attribute->m_quantity->toQuantity() == pwr::QUANTITY_NONE) return name;
    return name + attribute->m_quantity->toUnitsString();
}

std::string WriterPlugin::getFieldValueFromHandle(const pwr::TableMessage& message,
                                                  const pwr::EntityHandle* entity,
                                                  const pwr::DataHandle* handle) const {
    std::string value = "Invalid";
    bool valid = false;
    const bool found = entity != nullptr && message.getFieldAsString(entity, handle, value, valid) == 0;
    if (!found && (handle == nullptr || message.getFieldAsString(handle, value, valid) != 0)) return value;
    if (!valid) value.clear();
    return value;
}
