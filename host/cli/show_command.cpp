#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "host/base/complain.h"
#include "host/base/exit_status.h"
#include "host/cli/commands.h"
#include "host/inspect/show.h"
#include "host/session/run.h"

namespace host::cli {

namespace {

struct ShowOptions {
    std::vector<std::string> m_files;
    bool m_isCheck = false;
};

int show(const ShowOptions& options) {
    const int status = inspect::show(options.m_files, options.m_isCheck, std::cout, std::cerr);
    std::cout.flush();
    if (std::cout) return status == 0 ? base::EXIT_GOOD : base::EXIT_ERROR;
    base::complain("cannot write to standard output");
    return base::EXIT_ERROR;
}

}  // namespace

void addShowCommand(CLI::App& program, Command& chosen) {
    auto* const command = program.add_subcommand("show", "Decode binary result files to text");
    const auto options = std::make_shared<ShowOptions>();
    command->add_flag("--check", options->m_isCheck, "Only say what is damaged, and which files are sound");
    command->add_option("FILE", options->m_files, "A .ztbin or .pwr file; - is standard input")->required();
    command->callback([&chosen, options] { chosen = [options] { return show(*options); }; });
}

}  // namespace host::cli
