#pragma once

#include <string>

// Logs an error line: there is no memory for `what` (its use, such as "the points of") of `name`. The line is
// dropped if there is no memory for it either.
void reportOutOfMemory(const char* what, const std::string& name) noexcept;
