#include "continuous/out_of_memory.h"

#include <new>

#include "plugins/log.h"
#include "pwr/plugin_environment.h"

void reportOutOfMemory(const char* what, const std::string& name) noexcept try {
    LOG_ERROR("Out of memory for %s %s\n", what, name.c_str());
} catch (const std::bad_alloc&) {
    // The line was to be shown, but cannot be built.
    g_pluginEnvironment->m_errorLog->log(static_cast<std::int32_t>(LogLevel::Error),
                                         "ERROR: Out of memory\n");
}
