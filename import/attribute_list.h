// Adding to a sample's list of attributes.
#pragma once

#include <cstdint>
#include <span>
#include <utility>

#include "import/shortcuts.h"
#include "import/zt2_attribute_list.h"

namespace vyrta {

// An attribute: type and value.
using SampleAttribute = std::pair<std::uint32_t, std::uint64_t>;

// The name of an attribute type for debug lines; empty before createAttributeMap.
const char* attributeName(std::uint32_t type);

// Appends an attribute. Gives 1 and a warning when the list is null or full.
int appendAttribute(std::uint32_t type, std::uint64_t value, ZT2AttributeList* list);

inline bool hasRoomFor(std::size_t count, const ZT2AttributeList* list) {
    return list != nullptr && list->count + count <= MAXIMUM_ATTRIBUTE_COUNT;
}

// Appends attributes for which there is room, and tells nobody.
inline void putAttributes(std::span<const SampleAttribute> attributes, ZT2AttributeList& list) {
    std::uint32_t at = list.count;
    for (const auto& [type, value] : attributes) {
        list.types[at] = type;
        list.values[at] = value;
        ++at;
    }
    list.count = at;
}

inline void putAttribute(std::uint32_t type, std::uint64_t value, ZT2AttributeList& list) {
    const SampleAttribute attribute(type, value);
    putAttributes({&attribute, 1}, list);
}

// appendAttribute, without a look at the log where there is nothing to be logged.
inline int appendAttribute(Shortcuts shortcuts, std::uint32_t type, std::uint64_t value,
                           ZT2AttributeList* list) {
    if (!shortcuts.allow(hasRoomFor(1, list))) return appendAttribute(type, value, list);
    putAttribute(type, value, *list);
    return 0;
}

}  // namespace vyrta
