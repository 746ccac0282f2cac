#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "host/compare/group.h"
#include "host/stream/line_source.h"

namespace host::compare {

// Adds the runs of an automation file (docs/formats/automation_summary.md) that `argument` means to the
// group. `first` is the first line that says something, which has been taken from `source` already. Lines
// with a number of fields that fits no reading of their header are left out, with a note for each of the
// first MAX_NOTES of a file. Returns false with a message in `error` if there is no run, if values come
// before any header, or if the group gets too large.
bool readAutomationFile(std::string_view first, stream::LineSource& source, const Argument& argument,
                        Group& group, std::string& error);

constexpr std::size_t MAX_NOTES = 1000;

}  // namespace host::compare
