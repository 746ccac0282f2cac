#pragma once

#include "pwr/api.h"

namespace pwr {

// Something that a plug-in asks of the host. No writer makes one.
class PWR_HOST_API PluginRequirement {
public:
    virtual ~PluginRequirement();
};

}  // namespace pwr
