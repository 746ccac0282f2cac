#pragma once

#include <string>
#include <utility>
#include <vector>

namespace exporting {

using Label = std::pair<std::string, std::string>;  // name and value

// The labels that the user wants to find in every result, from the environment variable PWR_LABELS: a line
// KEY=VALUE for each, in which "\n" stands for a line end and "\\" for a backslash. Of lines with the same
// key the last one holds. What is not of that form is left out.
std::vector<Label> userLabels();

}  // namespace exporting
