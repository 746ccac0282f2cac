#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <exception>
#include <iostream>
#include <new>
#include <string>
#include <vector>

#include "host/base/complain.h"
#include "host/base/exit_status.h"
#include "host/base/inherited.h"
#include "host/cli/commands.h"
#include "host/cli/version.h"
#include "host/session/run.h"

namespace {

// A standard stream that is closed would lend its number to the next file that is opened, and what is meant
// for the terminal would go there.
void openStandardStreams() {
    for (int descriptor = 0; descriptor <= STDERR_FILENO; ++descriptor)
        if (::fcntl(descriptor, F_GETFD) < 0 && ::open("/dev/null", O_RDWR) < 0) return;
}

// Complains and returns true if the first word is no command and no option of the program: the parser only
// says that a command is missing.
bool isUnknown(const CLI::App& program, const std::vector<std::string>& words) {
    if (words.size() < 2 || words[1].empty() || words[1] == "--") return false;
    if (words[1][0] == '-') {
        if (program.get_option_no_throw(words[1]) != nullptr) return false;
        host::base::complain("unknown option \"" + words[1] + "\"; those of a command stand behind it");
        return true;
    }
    std::string known;
    for (const CLI::App* command : program.get_subcommands({})) {
        if (command->get_name() == words[1]) return false;
        known += (known.empty() ? "" : ", ") + command->get_name();
    }
    host::base::complain("unknown command \"" + words[1] + "\"; there are: " + known);
    return true;
}

}  // namespace

int main(int argc, char** argv) try {
    host::base::Inherited::get();
    openStandardStreams();
    // A file that may not grow is to fail like a full disk, for its writer alone.
    std::signal(SIGXFSZ, SIG_IGN);
    CLI::App program("Delivers power and performance data to the writers of a plug-in library", "pwrhost");
    program.set_version_flag("--version", host::cli::versionText, "Show versions and the plug-in libraries");
    program.require_subcommand(1);
    host::cli::Command chosen;
    host::cli::addListCommand(program, chosen);
    host::cli::addReplayCommand(program, chosen);
    const std::vector<std::string> words(argv, argv + argc);
    host::cli::addRecordCommand(program, chosen, words);
    host::cli::addShowCommand(program, chosen);
    host::cli::addInfoCommand(program, chosen);
    host::cli::addCompareCommand(program, chosen, words);
    host::cli::addCompletionCommand(program, chosen);
    if (isUnknown(program, words)) return host::base::EXIT_ERROR;
    try {
        program.parse(host::cli::countParsedWords(words), argv);
    } catch (const CLI::ParseError& problem) {
        if (program.exit(problem) == 0) {
            if (std::cout.flush()) return host::base::EXIT_GOOD;
            host::base::complain("cannot write to standard output");
            return host::base::EXIT_ERROR;
        }
        // Its status 1 is a verdict.
        return program.got_subcommand("compare") ? host::base::EXIT_FAILED : host::base::EXIT_ERROR;
    }
    return chosen();
} catch (const std::bad_alloc&) {
    host::base::complain("not enough memory");
    return host::base::EXIT_ERROR;
} catch (const std::exception& problem) {
    host::base::complain(problem.what());
    return host::base::EXIT_ERROR;
}
