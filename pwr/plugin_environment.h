#pragma once

#include <cstdint>
#include <ostream>
#include <set>
#include <string>

#include "pwr/api.h"
#include "pwr/logger.h"

// The host's service object, valid from before createPlugins until after destroyPlugins.
class PWR_HOST_API PluginEnvironment {
public:
    // Returns the handle of an output file, made on first use; the empty name selects the handle of the
    // run as a whole. Owned by the host. Never null.
    pwr::Logger* getFileOutputHandle(const char* name) const;

    std::int32_t m_logLevel;                  // lines of this level and below are shown
    pwr::Logger* m_errorLog;                  // takes error lines
    pwr::Logger* m_infoLog;                   // takes all other lines
    std::ostream* m_discardStream;            // takes stream reports that the log level suppresses
    std::set<std::string> m_conditionalTags;  // tags whose lines are shown whatever the level

protected:
    PluginEnvironment();
    ~PluginEnvironment();
};

extern PWR_HOST_API PluginEnvironment* g_pluginEnvironment;
