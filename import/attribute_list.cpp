#include "import/attribute_list.h"

#include <map>
#include <string>

#include "import/once_tags.h"
#include "import/vyrta_log.h"
#include "import/vyrtawriter_plugin.h"
#include "pwr/utilities.h"

namespace {

std::map<std::uint32_t, std::string> ATTRIBUTE_NAMES;

}  // namespace

void createAttributeMap() {
    static const char* const names[] = {
        "METRIC          ", "ENTITY          ", "FIELD           ", "PROCESS         ", "THREAD          ",
        "CALL_STACK_FRAME", "QUANTITY        ", "COLOR           ", "INFO            ", "INT             ",
        "UINT            ", "REAL            ", "INT_LOWER_BOUND ", "INT_UPPER_BOUND ", "UINT_LOWER_BOUND",
        "UINT_UPPER_BOUND", "REAL_LOWER_BOUND", "REAL_UPPER_BOUND", "DURATION        "};
    std::uint32_t type = 0;
    for (const char* name : names) ATTRIBUTE_NAMES.try_emplace(type++, name);
}

const char* vyrta::attributeName(std::uint32_t type) {
    const auto found = ATTRIBUTE_NAMES.find(type);
    return found != ATTRIBUTE_NAMES.end() ? found->second.c_str() : "";
}

int vyrta::appendAttribute(std::uint32_t type, std::uint64_t value, ZT2AttributeList* list) {
    if (list == nullptr) return VYRTA_FAIL("Invalid attribute list.\n");
    if (list->count >= MAXIMUM_ATTRIBUTE_COUNT)
        return VYRTA_FAIL("Maximum attribute count '%d' exceeded.\n", MAXIMUM_ATTRIBUTE_COUNT);
    pwr::executeOnce<ONCE_ATTRIBUTE_COUNT_NOTE>([list] {
        if (list->count >= 256)
            LOG_NOTE(
                "Note: The generated .pwr result file can only be imported in Vyrta(TM) 2018 Update 2 or "
                "later.\n");
    });
    VYRTA_DEBUG("Adding 'type: %s value: %lu' to record at [%d].\n", attributeName(type), value, list->count);
    putAttribute(type, value, *list);
    return 0;
}
