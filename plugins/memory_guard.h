// Keeps a shortage of memory inside the writer that meets it.
#pragma once

#include <concepts>
#include <new>
#include <string>

#include "plugins/log.h"

// Logs one error line that names the writer by its option name.
inline void logOutOfMemory(const char* writer) {
    LOG_ERROR("The writer \"%s\" ran out of memory.\n", writer);
}

// Logs one error line: there is no memory for `what` (such as "the points of") `name`.
inline void logOutOfMemory(const char* what, const std::string& name) {
    LOG_ERROR("Out of memory for %s %s\n", what, name.c_str());
}

// Runs `operation` and returns what it returns. If it runs out of memory, calls `report`, which must not need
// any, and returns `failure`.
template <typename Result, std::invocable Operation, std::invocable Report>
Result guardMemory(const Report& report, Result failure, const Operation& operation) {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        report();
        return failure;
    }
}

// The same with the line that names the writer.
template <typename Result, std::invocable Operation>
Result guardMemory(const char* writer, Result failure, const Operation& operation) {
    return guardMemory([writer] { logOutOfMemory(writer); }, failure, operation);
}
