// Metadata of what samples refer to: entities, states and their colours.
#include <vector>

#include "import/state_colors.h"
#include "import/vyrta_log.h"
#include "import/vyrtawriter_plugin.h"

namespace {

const std::string& entityName(const pwr::EntityHandle& entity) {
    static const std::string s_none = "NA";
    return entity.getName().empty() ? s_none : entity.getName();
}

bool isDefined(const VyrtaWriter& writer, const pwr::EntityHandle& entity) {
    const std::string& name = entityName(entity);
    if (writer.m_entities.count(VyrtaWriter::getNameIdKey(name, entity.getId())) == 0) return false;
    VYRTA_DEBUG("Entity '%s' topology already processed. Skipping...\n", name.c_str());
    return true;
}

}  // namespace

int VyrtaWriter::writeEntityMetadata(const std::string& name, const std::string& shortName, unsigned long id,
                                     long parentId) {
    std::string key = getNameIdKey(name, id);
    const auto found = m_entities.find(key);
    if (found != m_entities.end()) {
        if (found->second == static_cast<std::uint64_t>(parentId)) {
            VYRTA_DEBUG("Entity '%s' metadata already processed. Skipping...\n", name.c_str());
            return 0;
        }
        return VYRTA_FAIL(
            "The saved parent entity id '%lu' for entity '%s' doesn't match the new parent entity id "
            "'%lu'.\n",
            found->second, name.c_str(), static_cast<unsigned long>(parentId));
    }
    const long typeId = getInfoTypeMetadataId("entity");
    if (typeId == -1) return 1;
    if (writeInfoMetadataHelper("entity", static_cast<unsigned long>(typeId), name, shortName, "entity_id",
                                static_cast<long>(id), id, parentId) != 0)
        return 1;
    m_entities[std::move(key)] = static_cast<std::uint64_t>(parentId);
    return 0;
}

int VyrtaWriter::writeEntityMetadataTopology(const pwr::EntityHandle* entity) {
    std::vector<const pwr::EntityHandle*> undefined;  // the entity and its ancestors
    for (; entity != nullptr && !isDefined(*this, *entity); entity = entity->getParent())
        undefined.push_back(entity);

    long parentId = entity != nullptr ? static_cast<long>(entity->getId()) : -1;
    int status = 0;
    for (auto next = undefined.rbegin(); next != undefined.rend(); ++next) {
        const std::string& name = entityName(**next);
        const unsigned long id = (*next)->getId();
        if (status != 0) {
            VYRTA_WARNING("Failed to write parent entity metadata for entity '%s'.\n", name.c_str());
        } else if (writeEntityMetadata(name, name, id, parentId) != 0) {
            VYRTA_WARNING("Failed to write entity '%s' metadata.\n", name.c_str());
            status = 1;
        }
        parentId = static_cast<long>(id);
    }
    return status;
}

int VyrtaWriter::writeStateMetadata(const std::string& name, const std::string& displayName,
                                    unsigned long& id) {
    const auto found = m_states.find(name);
    if (found != m_states.end()) {
        VYRTA_DEBUG("State '%s' metadata already processed. Skipping...\n", name.c_str());
        id = found->second;
        return 0;
    }
    const long typeId = getInfoTypeMetadataId("field");
    if (typeId == -1) return 1;
    // A state whose record failed keeps its id in the sample, which is better than no sample.
    if (writeInfoMetadataHelper("field", static_cast<unsigned long>(typeId), name, displayName, "field_id",
                                static_cast<long>(id), id, -1) == 0)
        m_states[name] = id;
    return 0;
}

int VyrtaWriter::writeStateColorMetadata(const std::string& name) {
    if (m_stateColors.count(name) != 0) return 0;
    const long typeId = getInfoTypeMetadataId("color");
    if (typeId == -1) return 1;
    const auto [color, secondColor] = getColor(name);
    const unsigned long id = vyrta::drawId("info_type_info");
    if (writeInfoMetadataHelper("color", static_cast<unsigned long>(typeId), color + "|" + secondColor, name,
                                "color_id", static_cast<long>(id), id, -1) != 0)
        return 1;
    m_stateColors[name] = id;
    return 0;
}
