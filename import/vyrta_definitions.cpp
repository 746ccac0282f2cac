#include "import/vyrta_definitions.h"

#include "import/vyrta_log.h"
#include "import/vyrtawriter_plugin.h"

namespace vyrta {

unsigned long drawId(const char* name) {
    return pwr::Attribute::create(name, nullptr, pwr::ATTRIBUTE_NAME_VALUE)->getId();
}

int VyrtaDefinitions::defineQuantity(const pwr::Quantity& quantity, long& id) {
    return m_writer.handleQuantityMetadata(&quantity, id);
}

int VyrtaDefinitions::defineText(const std::string& text, std::uint64_t& id) {
    const auto known = m_writer.m_strings.find(text);
    if (known != m_writer.m_strings.end()) {
        id = known->second;
        return 0;
    }
    const long typeId = m_writer.getInfoTypeMetadataId("nameid_attribute");
    if (typeId == -1) return 1;
    id = drawId("nameid_attribute");
    if (m_writer.writeInfoMetadataHelper("nameid_attribute", static_cast<unsigned long>(typeId), text, text,
                                         "", 0, id, -1) != 0)
        return VYRTA_FAIL("Failed to write an info record for string attribute '%s'.\n", text.c_str());
    m_writer.m_strings.emplace(text, id);
    return 0;
}

int VyrtaDefinitions::defineProcess(const pwr::Process& process) {
    return m_writer.handleProcessInfo(&process, true);
}

int VyrtaDefinitions::defineThread(const pwr::Thread& thread) {
    return m_writer.handleThreadInfo(&thread, true);
}

int VyrtaDefinitions::definePair(const pwr::Attribute& attribute, const pwr::NameValuePair& pair) {
    const std::string& name = pair.getInfoName();
    VYRTA_DEBUG("Info attribute. Type: %s, name: %s, valueDesc: %s,value: %d, uniqueId: %lu.\n",
                attribute.getName().c_str(), name.c_str(), pair.getValueDesc().c_str(),
                static_cast<int>(pair.getValue()), pair.getId());
    const long typeId = m_writer.getInfoTypeMetadataId("nameid_attribute");
    if (typeId == -1) return VYRTA_FAIL("Invalid info type. Failed to process info attribute.\n");
    if (m_writer.writeInfoMetadataHelper("nameid_attribute", static_cast<unsigned long>(typeId), name, name,
                                         pair.getValueDesc(), pair.getValue(), pair.getId(), -1) != 0)
        return VYRTA_FAIL("Failed to write an info record for nameid attribute.\n");
    return 0;
}

int VyrtaDefinitions::definePackage(const Wakelock& wakelock, const std::string& name) {
    return m_writer.writeAPKMetadataNonGeneric(wakelock.tsc, wakelock.uid, name, wakelock.storeId);
}

int VyrtaDefinitions::advance(const pwr::Metric& metric, const pwr::EntityHandle& entity, std::uint64_t tsc,
                              std::uint64_t*& latest) {
    const std::string key = VyrtaWriter::getNameIdKey(metric.m_name, metric.m_id) + "_" +
                            VyrtaWriter::getNameIdKey(entity.getName(), entity.getId());
    const int failed = m_writer.checkTscMonotonicity(tsc, key);
    latest = &m_writer.m_previousTsc.find(key)->second;
    return failed;
}

int VyrtaDefinitions::defineEntity(const pwr::EntityHandle& entity) {
    return m_writer.writeEntityMetadataTopology(&entity);
}

int VyrtaDefinitions::defineState(const std::string& name, std::uint64_t& id, bool& isWritten) {
    const int failed = m_writer.writeStateMetadata(name, name, id);
    isWritten = m_writer.m_states.count(name) != 0;
    return failed;
}

int VyrtaDefinitions::defineColor(const std::string& state, std::uint64_t& id) {
    if (m_writer.writeStateColorMetadata(state) != 0) return 1;
    const auto color = m_writer.m_stateColors.find(state);
    if (color == m_writer.m_stateColors.end()) return 1;
    id = color->second;
    return 0;
}

}  // namespace vyrta
