#pragma once

#include <string>

// Logs an error line: there is no memory for `what` (such as "the points of") `name`.
void reportOutOfMemory(const char* what, const std::string& name) noexcept;
