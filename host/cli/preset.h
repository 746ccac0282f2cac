#pragma once

#include <map>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace host::cli {

// Where the values of options, as "--top", stand in a preset: FILE:LINE of each.
using PresetPlaces = std::map<std::string, std::vector<std::string>>;

// Takes the options that the preset of this name holds, as lines "option = value" with long names, into those
// of `command` that its command line did not give. Looks for NAME.conf in the user's configuration folder, in
// that of the machine, and beside the program. Returns false after a complaint, which names file and line;
// what is found to be wrong later can be told with `places`.
bool applyPreset(CLI::App& command, const std::string& name, PresetPlaces& places);

// The presets that there are in these folders, in alphabetical order.
std::vector<std::string> presetNames();

}  // namespace host::cli
