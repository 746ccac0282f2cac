#include <unistd.h>
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>

#include "host/base/complain.h"
#include "host/base/exit_status.h"
#include "host/cli/commands.h"
#include "host/importers/input_kinds.h"
#include "host/model/environment.h"
#include "host/model/loggers.h"
#include "host/session/plugin_libraries.h"
#include "host/session/run.h"

namespace host::cli {

namespace {

std::string padded(const std::string& text, std::size_t width) {
    return text + std::string(width > text.size() ? width - text.size() : 0, ' ') + "  ";
}

// Prints rows whose columns line up; the last column is as wide as it is.
template <std::size_t Columns>
void print(const std::vector<std::array<std::string, Columns>>& rows) {
    std::size_t widths[Columns] = {};
    for (const auto& row : rows)
        for (std::size_t i = 0; i + 1 < Columns; ++i) widths[i] = std::max(widths[i], row[i].size());
    for (const auto& row : rows) {
        std::string line;
        for (std::size_t i = 0; i + 1 < Columns; ++i) line += padded(row[i], widths[i]);
        std::printf("%s%s\n", line.c_str(), row.back().c_str());
    }
}

void printWriters(const session::PluginLibraries& libraries) {
    std::vector<std::array<std::string, 4>> rows = {{"WRITER", "EXTENSION", "CONTINUOUS", "DESCRIPTION"}};
    for (const WriterPlugin* writer : libraries.writers()) {
        const pwr::WriterPluginCapability& capability = session::PluginLibrary::capabilityOf(*writer);
        const bool isContinuous = (capability.m_flags & pwr::PluginCapability::FLAG_CONTINUOUS) != 0;
        rows.push_back({capability.m_name, capability.m_extension, isContinuous ? "yes" : "no",
                        capability.m_description});
    }
    print(rows);
}

void printInputs() {
    std::vector<std::array<std::string, 3>> rows = {{"INPUT", "EXTENSION", "DESCRIPTION"}};
    for (const importers::InputKind& kind : importers::inputKinds())
        rows.push_back({kind.name, kind.extension, kind.description});
    print(rows);
}

int list(const std::vector<std::string>& plugins) {
    model::DescriptorLogger log(STDERR_FILENO);
    model::Environment environment(log, log);
    session::PluginLibraries libraries;
    std::string error;
    if (!libraries.open(plugins, error)) {
        base::complain(error);
        return base::EXIT_ERROR;
    }
    printWriters(libraries);
    std::printf("\n");
    printInputs();
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return base::EXIT_GOOD;
    base::complain("cannot write the list");
    return base::EXIT_ERROR;
}

}  // namespace

void addListCommand(CLI::App& program, Command& chosen) {
    auto* const command = program.add_subcommand("list", "Show the writers and the kinds of input");
    const auto plugins = std::make_shared<std::vector<std::string>>();
    command
        ->add_option("--plugins", *plugins,
                     "A plug-in library in place of those of this program; may be repeated")
        ->type_name("FILE")
        ->allow_extra_args(false);
    command->callback([&chosen, plugins] { chosen = [plugins] { return list(*plugins); }; });
}

}  // namespace host::cli
