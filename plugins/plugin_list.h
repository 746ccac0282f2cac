// The entry of the library. These two functions are all that it exports.
#pragma once

#include <cstdint>

#include "plugins/plugin.h"

#define WRITER_LIBRARY_EXPORT __attribute__((visibility("default")))

struct PluginList {
    std::int32_t count;
    Plugin** plugins;  // `count` writers, each a WriterPlugin
};

extern "C" {

// Constructs the writers, in a fixed order. No file is touched yet. Returns null if memory for the list's
// array is lacking. The list and the writers stay the library's: give them back to destroyPlugins.
WRITER_LIBRARY_EXPORT PluginList* createPlugins();

// Destroys the writers and the list. Null is allowed, as are null entries.
WRITER_LIBRARY_EXPORT void destroyPlugins(PluginList* list);

}  // extern "C"
