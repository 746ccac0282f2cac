// Adding to a sample's list of attributes.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "import/shortcuts.h"
#include "import/zt2_attribute_list.h"

namespace vyrta {

// A run of attributes: type and value.
using AttributeRun = std::vector<std::pair<std::uint32_t, std::uint64_t>>;

// The name of an attribute type for debug lines; empty before createAttributeMap.
const char* attributeName(std::uint32_t type);

// Appends an attribute. Gives 1 and a warning when the list is null or full.
int appendAttribute(std::uint32_t type, std::uint64_t value, ZT2AttributeList* list);

inline bool hasRoomFor(std::size_t count, const ZT2AttributeList* list) {
    return list != nullptr && list->count + count <= MAXIMUM_ATTRIBUTE_COUNT;
}

// Appends an attribute for which there is room, and tells nobody.
inline void putAttribute(std::uint32_t type, std::uint64_t value, ZT2AttributeList& list) {
    list.types[list.count] = type;
    list.values[list.count] = value;
    ++list.count;
}

// appendAttribute, without a look at the log where there is nothing to be logged.
inline int appendAttribute(Shortcuts shortcuts, std::uint32_t type, std::uint64_t value,
                           ZT2AttributeList* list) {
    if (!shortcuts.allow(hasRoomFor(1, list))) return appendAttribute(type, value, list);
    putAttribute(type, value, *list);
    return 0;
}

}  // namespace vyrta
