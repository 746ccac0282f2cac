#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "host/base/complain.h"
#include "host/base/exit_status.h"
#include "host/cli/commands.h"
#include "host/cli/completion_script.h"

namespace host::cli {

namespace {

int printScript(const CLI::App& program, bool isBash) {
    const std::string script = isBash ? bashCompletion(program) : zshCompletion(program);
    if (std::fputs(script.c_str(), stdout) >= 0 && std::fflush(stdout) == 0) return base::EXIT_GOOD;
    base::complain("cannot write the completion");
    return base::EXIT_ERROR;
}

}  // namespace

void addCompletionCommand(CLI::App& program, Command& chosen) {
    auto* const command =
        program.add_subcommand("completion", "Print what a shell needs to complete this program's words");
    const auto shell = std::make_shared<std::string>();
    command->add_option("SHELL", *shell, "bash or zsh")->required()->check(CLI::IsMember({"bash", "zsh"}));
    command->callback([&program, &chosen, shell] {
        chosen = [&program, shell] { return printScript(program, *shell == "bash"); };
    });
}

}  // namespace host::cli
