#include <CLI/CLI.hpp>
#include <exception>
#include <string>
#include <vector>

#include "host/cli/commands.h"
#include "host/cli/run.h"

int main(int argc, char** argv) {
    CLI::App program("Delivers power and performance data to the writers of a plug-in library", "pwrhost");
    program.require_subcommand(1);
    host::cli::Command chosen;
    host::cli::addListCommand(program, chosen);
    host::cli::addReplayCommand(program, chosen);
    host::cli::addRecordCommand(program, chosen, std::vector<std::string>(argv, argv + argc));
    host::cli::addShowCommand(program, chosen);
    try {
        program.parse(argc, argv);
        return chosen();
    } catch (const CLI::ParseError& problem) {
        return program.exit(problem) == 0 ? host::cli::EXIT_GOOD : host::cli::EXIT_ERROR;
    } catch (const std::exception& problem) {
        host::cli::complain(problem.what());
        return host::cli::EXIT_ERROR;
    }
}
