#include "plugins/plugin_capability.h"

namespace pwr {

PluginCapability::PluginCapability(const std::string& name, const std::string& description, bool continuous)
    : m_name(name),
      m_description(description),
      m_owner(nullptr),
      m_flags(static_cast<std::uint8_t>(continuous ? FLAG_CONTINUOUS : 0)) {}

PluginCapability::~PluginCapability() {
    for (PluginRequirement* requirement : m_requirements) delete requirement;
}

}  // namespace pwr
