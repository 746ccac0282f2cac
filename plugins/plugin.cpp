#include "plugins/plugin.h"

#include "plugins/plugin_capability.h"

Plugin::Plugin(const std::string& id) : m_handle(-1), m_id(id) {}

Plugin::~Plugin() {
    for (pwr::PluginCapability* capability : m_capabilities) {
        if (capability == nullptr) break;
        delete capability;
    }
    m_capabilities.clear();
}

void Plugin::getVersion(std::vector<std::pair<std::string, std::string>>&) {}

void Plugin::handleBroadcastOption(const std::string&) {}

bool Plugin::reset(ResetReason, unsigned long, const pwr::SystemMetadata&) {
    return true;
}

bool Plugin::pmtDevReset(unsigned int, unsigned long, const pwr::SystemMetadata&) {
    return true;
}

void Plugin::addCapability(pwr::PluginCapability* capability) {
    m_capabilities.push_back(capability);
    capability->m_owner = this;
}

void Plugin::notifyCommandlineParamsSet_i() {}
