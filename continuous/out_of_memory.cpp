#include "continuous/out_of_memory.h"

#include "plugins/log.h"

void reportOutOfMemory(const char* what, const std::string& name) noexcept {
    LOG_ERROR("Out of memory for %s %s\n", what, name.c_str());
}
