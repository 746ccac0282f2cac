#include "continuous/out_of_memory.h"

#include <new>

#include "plugins/log.h"

void reportOutOfMemory(const char* what, const std::string& name) noexcept try {
    LOG_ERROR("Out of memory for %s %s\n", what, name.c_str());
} catch (const std::bad_alloc&) {
}
