#pragma once

#include <string>

#include "host/compare/group.h"

namespace host::compare {

// Adds the runs of an automation file (docs/formats/automation_summary.md) that `argument` means to the
// group. `descriptor` stays the caller's. Lines with a number of fields that fits no reading of their header
// are left out, with a note for each of the first MAX_NOTES of a file. Returns false with a message in
// `error` if there is no run, if a value line comes before any header, or if the group gets too large.
bool readAutomationFile(int descriptor, const Argument& argument, Group& group, std::string& error);

constexpr std::size_t MAX_NOTES = 1000;

}  // namespace host::compare
