#include "host/cli/version.h"

#include "host/session/plugin_libraries.h"

namespace host::cli {

namespace {

// A new version of a format is one that a reader of the old one cannot read.
constexpr const char* FORMATS[][2] = {{"stream", "1"}, {"pwr", "2"}, {"ztbin", "1"}, {"ztjson", "1.0.0"}};

#ifdef __clang__
constexpr const char* COMPILER = "clang-" __clang_version__;
#else
constexpr const char* COMPILER = "g++-" __VERSION__;
#endif

std::string compiler() {
    const std::string name = COMPILER;
    return name.substr(0, name.find(' '));
}

}  // namespace

std::string versionText() {
    std::string text = "pwrhost " PWR_VERSION "\n";
    for (const std::string& path : session::ownLibraries())
        text += "library " + (path.empty() ? "not found" : path) + "\n";
    for (const auto& [name, version] : FORMATS) text += std::string("format ") + name + " " + version + "\n";
    return text + "build " + compiler() + " " PWR_BUILD_TYPE " " PWR_ARCHITECTURE;
}

}  // namespace host::cli
