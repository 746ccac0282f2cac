#include <unistd.h>
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>

#include "host/cli/commands.h"
#include "host/cli/plugin_library.h"
#include "host/cli/run.h"
#include "host/model/environment.h"
#include "host/model/loggers.h"

namespace host::cli {

namespace {

std::string padded(const std::string& text, std::size_t width) {
    return text + std::string(width > text.size() ? width - text.size() : 0, ' ') + "  ";
}

int list(const std::string& plugins) {
    model::DescriptorLogger log(STDERR_FILENO);
    model::Environment environment(log, log);
    PluginLibrary library;
    std::string error;
    if (!library.open(plugins, error)) {
        complain(error);
        return EXIT_ERROR;
    }
    std::vector<std::array<std::string, 4>> rows = {{"WRITER", "EXTENSION", "CONTINUOUS", "DESCRIPTION"}};
    for (const WriterPlugin* writer : library.writers()) {
        const pwr::WriterPluginCapability& capability = PluginLibrary::capabilityOf(*writer);
        const bool isContinuous = (capability.m_flags & pwr::PluginCapability::FLAG_CONTINUOUS) != 0;
        rows.push_back({capability.m_name, capability.m_extension, isContinuous ? "yes" : "no",
                        capability.m_description});
    }
    std::size_t widths[3] = {};
    for (const auto& row : rows)
        for (std::size_t i = 0; i < 3; ++i) widths[i] = std::max(widths[i], row[i].size());
    for (const auto& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < 3; ++i) line += padded(row[i], widths[i]);
        std::printf("%s%s\n", line.c_str(), row[3].c_str());
    }
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return EXIT_GOOD;
    complain("cannot write the list");
    return EXIT_ERROR;
}

}  // namespace

void addListCommand(CLI::App& program, Command& chosen) {
    auto* const command = program.add_subcommand("list", "Show the writers");
    const auto plugins = std::make_shared<std::string>();
    command->add_option("--plugins", *plugins, "The plug-in library, if not the one of this program")
        ->type_name("FILE");
    command->callback([&chosen, plugins] { chosen = [plugins] { return list(*plugins); }; });
}

}  // namespace host::cli
