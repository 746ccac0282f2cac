#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "host/base/complain.h"
#include "host/base/descriptor.h"
#include "host/base/exit_status.h"
#include "host/base/stop_signal.h"
#include "host/cli/commands.h"
#include "host/cli/progress.h"
#include "host/cli/run_options.h"
#include "host/session/input_feeder.h"
#include "host/session/run.h"

namespace host::cli {

namespace {

struct ReplayOptions {
    session::RunOptions m_run;
    std::vector<std::string> m_inputs;
    bool m_isForgiving = false;  // skip bad lines
    bool m_isProgressShown = false;
};

// An open input.
struct Input {
    std::string m_name;
    base::Descriptor m_file;   // closed for standard input, which is the process's
    std::uint64_t m_size = 0;  // 0 if unknown

    int descriptor() const { return m_file.isOpen() ? m_file.get() : STDIN_FILENO; }
};

// Opens an input; returns false after a complaint.
bool openInput(const std::string& path, Input& input) {
    input.m_name = path;
    if (path != "-") input.m_file = base::Descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    const bool isOpen = path == "-" || input.m_file.isOpen();
    int error = !isOpen || ::fstat(input.descriptor(), &status) != 0 ? errno : 0;
    if (error == 0 && S_ISDIR(status.st_mode)) error = EISDIR;
    if (error == 0 && S_ISREG(status.st_mode)) input.m_size = static_cast<std::uint64_t>(status.st_size);
    if (error == 0) return true;
    base::complain("cannot open the stream " + path + ": " + std::strerror(error));
    return false;
}

// Opens all inputs before anything is delivered; returns false after a complaint.
bool openInputs(const std::vector<std::string>& paths, std::vector<Input>& inputs) {
    inputs.resize(paths.size());
    for (std::size_t i = 0; i < paths.size(); ++i)
        if (!openInput(paths[i], inputs[i])) return false;
    return true;
}

// The bytes of all inputs, 0 if not all are known.
std::uint64_t totalSize(const std::vector<Input>& inputs) {
    std::uint64_t total = 0;
    for (const Input& input : inputs) {
        if (input.m_size == 0) return 0;
        total += input.m_size;
    }
    return total;
}

int replay(const ReplayOptions& options) {
    std::vector<Input> inputs;
    if (!openInputs(options.m_inputs, inputs)) return base::EXIT_ERROR;
    session::Run run;
    if (!run.open(options.m_run)) return base::EXIT_ERROR;
    const base::StopSignal stop;
    session::InputFeeder feeder(run.reader(), stop, options.m_isForgiving);
    Progress progress(options.m_isProgressShown, totalSize(inputs));
    if (options.m_isProgressShown)
        feeder.setWatcher([&](std::uint64_t bytes, std::uint64_t lines) { progress.update(bytes, lines); });
    run.begin();
    for (const Input& input : inputs)
        if (!feeder.feedStream(input.m_name, input.descriptor())) break;
    progress.finish(feeder.bytes(), feeder.lines());
    if (stop.isRequested())
        base::complain(std::string(stop.name()) + " after line " + std::to_string(feeder.lines()) +
                       ": finishing the files");
    const int status = run.end();
    return feeder.isGood() ? status : base::EXIT_ERROR;
}

}  // namespace

void addReplayCommand(CLI::App& program, Command& chosen) {
    auto* const command = program.add_subcommand("replay", "Deliver a message stream to writers");
    const auto options = std::make_shared<ReplayOptions>();
    options->m_isProgressShown = ::isatty(STDERR_FILENO) != 0;
    addRunOptions(*command, options->m_run);
    command->add_flag("--keep-going", options->m_isForgiving, "Skip bad lines of the stream");
    command->add_flag("--progress,!--no-progress", options->m_isProgressShown,
                      "Show how far the run has come (default: if standard error is a terminal)");
    command->add_option("INPUT", options->m_inputs, "Files that are read as one stream; - is standard input")
        ->required();
    command->callback([&chosen, options] { chosen = [options] { return replay(*options); }; });
}

}  // namespace host::cli
