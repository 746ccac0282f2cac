// What the entry points of a plug-in library are made of.
#pragma once

#include <memory>
#include <span>

#include "plugins/plugin_list.h"

using PluginFactory = std::unique_ptr<Plugin> (*)();

template <typename Writer>
std::unique_ptr<Plugin> makePlugin() {
    return std::make_unique<Writer>();
}

// Makes a plug-in with each factory, in order. The list is to be given to destroyPluginList. Returns null if
// memory for its array is lacking; an exception of a factory leaves what was made before as it is.
PluginList* createPluginList(std::span<const PluginFactory> factories);

// Destroys the plug-ins and the list. Null is allowed, as are null entries.
void destroyPluginList(PluginList* list);
