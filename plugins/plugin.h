#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace pwr {
class PluginCapability;
class SystemMetadata;
}  // namespace pwr

// The base of everything that the host loads from this library.
//
// The host calls plug-ins through this class's virtual table and reads its fields directly, so the order of
// both is part of the binary interface.
class Plugin {
public:
    // Why the host resets a plug-in. Carried in the signature only.
    enum class ResetReason : std::int32_t {};

    // `id` is the plug-in's UUID text.
    explicit Plugin(const std::string& id);
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    // Deletes the capabilities in order, up to the first null one.
    virtual ~Plugin();

    // Appends (component, version) pairs. Appends nothing here.
    virtual void getVersion(std::vector<std::pair<std::string, std::string>>& versions);

    // Takes an option that the host sends to all plug-ins. Does nothing here.
    virtual void handleBroadcastOption(const std::string& option);

    // The host starts anew at `timestamp` (TSC ticks). Return true; both do nothing here.
    virtual bool reset(ResetReason reason, unsigned long timestamp, const pwr::SystemMetadata& metadata);
    virtual bool pmtDevReset(unsigned int device, unsigned long timestamp,
                             const pwr::SystemMetadata& metadata);

    // Takes `capability` over and becomes its owner.
    virtual void addCapability(pwr::PluginCapability* capability);

    // The host has parsed its command line. Does nothing here.
    virtual void notifyCommandlineParamsSet_i();

    std::int32_t m_handle;                               // the host's; -1 at first
    std::string m_id;                                    // UUID text
    std::vector<pwr::PluginCapability*> m_capabilities;  // owned
    std::string m_text;                                  // the host's; empty at first
};
