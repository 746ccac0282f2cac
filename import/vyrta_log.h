// The log lines of the import-format writer: those of plugins/log.h with the writer's name in front.
#pragma once

#include "plugins/log.h"

// The option by which the user selects the writer.
inline constexpr const char* VYRTA_OPTION_NAME = "vyrta";

#define VYRTA_FATAL(...) LOG_FATAL("VyrtaWriterPlugin:    " __VA_ARGS__)
#define VYRTA_WARNING(...) LOG_WARNING("VyrtaWriterPlugin:    " __VA_ARGS__)
#define VYRTA_DEBUG(...) LOG_DEBUG("VyrtaWriterPlugin:    " __VA_ARGS__)
#define VYRTA_INFO(...) LOG_INFO("VyrtaWriterPlugin:    " __VA_ARGS__)

// Logs a warning, and is the status of the operation that fails for it: `return VYRTA_FAIL(...);`.
#define VYRTA_FAIL(...)                                                                             \
    (isLogged(LogLevel::Warning) ? logLine(LogLevel::Warning, "VyrtaWriterPlugin:    " __VA_ARGS__) \
                                 : static_cast<void>(0),                                            \
     1)
