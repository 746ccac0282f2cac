#include "host/cli/preset.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/base/complain.h"
#include "host/base/text.h"

namespace host::cli {

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> folders() {
    std::vector<fs::path> found;
    const auto value = [](const char* variable) {
        const char* const text = std::getenv(variable);
        return std::string(text != nullptr ? text : "");
    };
    if (const std::string own = value("XDG_CONFIG_HOME"); !own.empty())
        found.push_back(fs::path(own) / "pwrhost");
    else if (const std::string home = value("HOME"); !home.empty())
        found.push_back(fs::path(home) / ".config/pwrhost");
    found.emplace_back("/etc/pwrhost");
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    if (!error) found.push_back(program.parent_path().parent_path() / "share/pwrhost/presets");
    return found;
}

std::string findFile(const std::string& name) {
    std::string searched;
    for (const fs::path& folder : folders()) {
        const fs::path file = folder / (name + ".conf");
        std::error_code error;
        if (name.find('/') == std::string::npos && fs::exists(file, error)) return file.string();
        searched += (searched.empty() ? "" : ", ") + folder.string();
    }
    base::complain("there is no preset " + name + " in " + searched);
    return {};
}

// Why the line is wrong; empty if it is not. `taken` is the option that it sets.
std::string takeLine(CLI::App& command, const std::string& line, const std::set<std::string>& given,
                     std::string& taken) {
    const std::size_t sign = line.find('=');
    if (sign == std::string::npos) return "expected \"option = value\"";
    const std::string name(base::trimmed(std::string_view(line).substr(0, sign)));
    const std::string value(base::trimmed(std::string_view(line).substr(sign + 1)));
    CLI::Option* const option = name.size() < 2 ? nullptr : command.get_option_no_throw("--" + name);
    if (option == nullptr || name == "preset" || name == "list" || name == "help")
        return "unknown option \"" + name + "\"";
    if (given.count(name) != 0) return {};
    try {
        option->add_result(value);
        option->run_callback();
        taken = "--" + name;
    } catch (const CLI::Error& problem) {
        return problem.what();
    }
    return {};
}

std::set<std::string> givenOptions(const CLI::App& command) {
    std::set<std::string> names;
    for (const CLI::Option* option : command.get_options())
        if (option->count() > 0)
            for (const std::string& name : option->get_lnames()) names.insert(name);
    return names;
}

}  // namespace

bool applyPreset(CLI::App& command, const std::string& name, PresetPlaces& places) {
    const std::string path = findFile(name);
    if (path.empty()) return false;
    std::ifstream file(path);
    file.peek();  // a folder can be opened, but not read
    if (!file.is_open() || file.bad()) {
        base::complain(path + ": " + std::strerror(errno));
        return false;
    }
    file.clear();
    const std::set<std::string> given = givenOptions(command);
    std::size_t number = 0;
    for (std::string line; std::getline(file, line);) {
        ++number;
        const std::string_view text = base::trimmed(line);
        if (text.empty() || text.front() == '#') continue;
        const std::string place = std::string(path).append(":").append(std::to_string(number));
        std::string option;
        if (const std::string why = takeLine(command, std::string(text), given, option); !why.empty()) {
            base::complain(std::string(place).append(": ").append(why));
            return false;
        }
        if (!option.empty()) places[option].push_back(place);
    }
    return true;
}

std::vector<std::string> presetNames() {
    std::set<std::string> names;
    for (const fs::path& folder : folders()) {
        std::error_code error;
        for (fs::directory_iterator file(folder, error); !error && file != fs::directory_iterator();
             file.increment(error))
            if (file->path().extension() == ".conf") names.insert(file->path().stem().string());
    }
    return {names.begin(), names.end()};
}

}  // namespace host::cli
