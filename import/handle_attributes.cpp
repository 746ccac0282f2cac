#include "import/handle_attributes.h"

#include "import/attribute_list.h"
#include "import/vyrta_log.h"

namespace vyrta {

// Finds the attribute of an id. Returns 1 if no handle has it; a handle that is no attribute gives null.
int HandleAttributes::find_i(unsigned long id, const pwr::Attribute*& attribute) {
    const pwr::Attribute*& known = m_attributes[id];
    if (known == nullptr) {
        const pwr::DataHandle* handle = nullptr;
        if (pwr::DataHandle::get(id, handle) != 0) return 1;
        known = dynamic_cast<const pwr::Attribute*>(handle);
    }
    attribute = known;
    return 0;
}

int HandleAttributes::addInfos(const pwr::AttributeValueManager* manager, const pwr::Attribute* invented,
                               ZT2AttributeList* list) {
    if (manager == nullptr || list == nullptr) return VYRTA_FAIL("Can't process attributes.\n");
    for (const auto& [attribute, value] : *manager) {
        if (attribute == nullptr) return 0;
        if (attribute == invented) continue;
        if (addInfo(attribute, &value, list) != 0) return VYRTA_FAIL("Failed to process info attribute\n");
    }
    return 0;
}

int HandleAttributes::addInfos(const pwr::DynamicAttributeValueManager* manager, ZT2AttributeList* list) {
    if (list == nullptr) return VYRTA_FAIL("Can't process attributes.\n");
    if (manager == nullptr) return 0;
    for (const auto& [id, value] : *manager) {
        const pwr::Attribute* attribute = nullptr;
        if (find_i(id, attribute) != 0 || addInfo(attribute, &value, list) != 0)
            return VYRTA_FAIL("Failed to process info attribute\n");
    }
    return 0;
}

int HandleAttributes::addInfo(const pwr::Attribute* attribute, const pwr::Data* data,
                              ZT2AttributeList* list) {
    if (attribute == nullptr || data == nullptr || list == nullptr)
        return VYRTA_FAIL("Can't process attribute.\n");
    const pwr::DataHandle* handle = nullptr;
    const bool isHandle = data->toHandle(handle) == 0;
    switch (attribute->m_attributeType) {
        case pwr::ATTRIBUTE_PROCESS:
            if (isHandle) return addProcess_i(handle, list);
            return VYRTA_FAIL("Failed to get data handle for process attribute.\n");
        case pwr::ATTRIBUTE_THREAD:
            if (isHandle) return addThread_i(handle, list);
            return VYRTA_FAIL("Failed to get data handle for thread attribute.\n");
        case pwr::ATTRIBUTE_NAME_VALUE:
            if (isHandle) return addPair_i(*attribute, handle, list);
            return VYRTA_FAIL("Failed to get data handle for info attribute.\n");
        default:
            return 0;
    }
}

int HandleAttributes::addProcess_i(const pwr::DataHandle* handle, ZT2AttributeList* list) {
    const pwr::Process*& known = m_processes[handle];
    if (!m_shortcuts.allow(known != nullptr)) {
        const auto* const process = dynamic_cast<const pwr::Process*>(handle);
        if (process == nullptr) return VYRTA_FAIL("Failed to handle process information\n");
        if (m_definitions.defineProcess(*process) != 0)
            return VYRTA_FAIL("Failed to handle process information. \n");
        known = process;
    }
    const auto pid = static_cast<std::uint32_t>(known->getPid());
    if (appendAttribute(m_shortcuts, ATTRIBUTE_KIND_PROCESS, pid, list) != 0)
        return VYRTA_FAIL("Unable to add thread attribute to the record.\n");
    return 0;
}

int HandleAttributes::addThread_i(const pwr::DataHandle* handle, ZT2AttributeList* list) {
    const pwr::Thread*& known = m_threads[handle];
    if (!m_shortcuts.allow(known != nullptr)) {
        const auto* const thread = dynamic_cast<const pwr::Thread*>(handle);
        if (thread == nullptr) return VYRTA_FAIL("Failed to get thread attribute information\n");
        if (m_definitions.defineThread(*thread) != 0)
            return VYRTA_FAIL("Failed to handle thread information. \n");
        known = thread;
    }
    const auto tid = static_cast<std::uint32_t>(known->getTid());
    if (appendAttribute(m_shortcuts, ATTRIBUTE_KIND_THREAD, tid, list) != 0)
        return VYRTA_FAIL("Unable to add thread attribute to the record.\n");
    return 0;
}

int HandleAttributes::addPair_i(const pwr::Attribute& attribute, const pwr::DataHandle* handle,
                                ZT2AttributeList* list) {
    const pwr::NameValuePair*& known = m_pairs[handle];
    if (!m_shortcuts.allow(known != nullptr)) {
        const auto* const pair = dynamic_cast<const pwr::NameValuePair*>(handle);
        if (pair == nullptr) return VYRTA_FAIL("Failed to get data for info attribute\n");
        if (m_definitions.definePair(attribute, *pair) != 0) return 1;
        known = pair;
    }
    if (appendAttribute(m_shortcuts, ATTRIBUTE_KIND_INFO, known->getId(), list) != 0)
        return VYRTA_FAIL("Unable to add nameid value to the record.\n");
    return 0;
}

int HandleAttributes::addData(const pwr::AttributeValueManager* manager, ZT2AttributeList* list,
                              bool allAsString) {
    if (manager == nullptr || list == nullptr) return VYRTA_FAIL("Can't process attributes.\n");
    bool asString = allAsString;
    for (const auto& [attribute, value] : *manager) {
        if (attribute == nullptr) return 0;
        if (addDatum(attribute, &value, list, asString, nullptr) != 0)
            return VYRTA_FAIL("Failed to process info attribute\n");
        asString = true;
    }
    return 0;
}

int HandleAttributes::addData(const pwr::DynamicAttributeValueManager* manager, ZT2AttributeList* list,
                              bool allAsString) {
    if (list == nullptr) return VYRTA_FAIL("Can't process attributes.\n");
    if (manager == nullptr) return 0;
    bool asString = allAsString;
    for (const auto& [id, value] : *manager) {
        const pwr::Attribute* attribute = nullptr;
        if (find_i(id, attribute) != 0 || addDatum(attribute, &value, list, asString, nullptr) != 0)
            return VYRTA_FAIL("Failed to process info attribute\n");
        asString = true;
    }
    return 0;
}

int HandleAttributes::addDatum(const pwr::Attribute* attribute, const pwr::Data* data, ZT2AttributeList* list,
                               bool asString, std::string* stringOut) {
    if (attribute == nullptr || data == nullptr) return VYRTA_FAIL("Can't process attribute.\n");
    if (attribute->m_attributeType != pwr::ATTRIBUTE_DATA) return 0;
    if (m_values.add(data, attribute->m_quantity, list, asString, stringOut) != 0)
        return VYRTA_FAIL("Unable to add first attribute data to the record.\n");
    return 0;
}

int HandleAttributes::readFirstText(const pwr::AttributeValueManager* manager, std::string* out) {
    if (out == nullptr) return VYRTA_FAIL("Failed to get string attribute\n");
    if (manager == nullptr || manager->begin() == manager->end()) return 0;
    const auto& [attribute, value] = *manager->begin();
    if (attribute == nullptr) return 0;
    if (addDatum(attribute, &value, nullptr, true, out) != 0)
        return VYRTA_FAIL("Failed to process info attribute\n");
    return 0;
}

}  // namespace vyrta
