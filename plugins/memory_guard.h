// Keeps a shortage of memory inside the writer that meets it.
#pragma once

#include <new>

#include "plugins/log.h"

// Logs one error line that names the writer by its option name.
inline void logOutOfMemory(const char* writer) {
    LOG_ERROR("The writer \"%s\" ran out of memory.\n", writer);
}

// Runs `operation` and returns what it returns. If it runs out of memory, logs one error line that names the
// writer by its option name and returns `failure`.
template <typename Result, typename Operation>
Result guardMemory(const char* writer, Result failure, Operation operation) {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        logOutOfMemory(writer);
        return failure;
    }
}
