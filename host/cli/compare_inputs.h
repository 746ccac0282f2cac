#pragma once

#include <string>

#include "host/compare/group.h"

namespace host::cli {

// Adds the runs of an argument of compare: automation files and everything that replay takes, compressed or
// not. See compare::ReadArgument.
bool readCompared(const compare::Argument& argument, compare::Group& group, std::string& error);

}  // namespace host::cli
