#pragma once

#include <cstdint>
#include <deque>
#include <string>

#include "pwr/plugin_requirement.h"
#include "pwr/utilities.h"

class Plugin;

namespace pwr {

// Describes to the host what a plug-in can do. The host reads the fields directly, so their order is part of
// the binary interface.
class PluginCapability {
public:
    // Bits of m_flags.
    enum Flag : std::uint8_t {
        FLAG_HOST = 2,        // set by some writers after construction; its meaning is the host's
        FLAG_CONTINUOUS = 4,  // can deliver results while a collection is running
    };

    // `name` is the option by which the user selects the plug-in, `description` its help text.
    PluginCapability(const std::string& name, const std::string& description, bool continuous);
    PluginCapability(const PluginCapability&) = delete;
    PluginCapability& operator=(const PluginCapability&) = delete;

    // Deletes the requirements.
    virtual ~PluginCapability();

    std::string m_name;
    std::string m_description;
    Plugin* m_owner;                                // set by Plugin::addCapability, null until then
    PWSet<std::string> m_options;                   // empty in all writers
    std::uint8_t m_flags;                           // see Flag
    std::deque<PluginRequirement*> m_requirements;  // owned; empty in all writers
};

}  // namespace pwr
