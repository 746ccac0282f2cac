#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "host/base/complain.h"
#include "host/base/exit_status.h"
#include "host/base/stop_signal.h"
#include "host/cli/commands.h"
#include "host/cli/progress.h"
#include "host/cli/run_options.h"
#include "host/model/files.h"
#include "host/session/run.h"
#include "host/stream/line_source.h"

namespace host::cli {

namespace {

struct ReplayOptions {
    session::RunOptions m_run;
    std::string m_stream;
    bool m_isForgiving = false;  // skip bad lines
    bool m_isProgressShown = false;
};

// Opens the stream, and fills `size` with its length if it has one. Returns -1 after a complaint.
int openStream(const std::string& path, std::uint64_t& size) {
    const int descriptor = path == "-" ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    int error = descriptor < 0 || ::fstat(descriptor, &status) != 0 ? errno : 0;
    if (error == 0 && S_ISDIR(status.st_mode)) error = EISDIR;
    if (error == 0) {
        size = S_ISREG(status.st_mode) ? static_cast<std::uint64_t>(status.st_size) : 0;
        return descriptor;
    }
    base::complain("cannot open the stream " + path + ": " + std::strerror(error));
    if (descriptor > STDIN_FILENO) ::close(descriptor);
    return -1;
}

// Reads lines until the stream ends or one is bad. Returns false if one was.
bool readLines(const ReplayOptions& options, stream::LineSource& source, stream::StreamReader& reader,
               Progress& progress) {
    bool isGood = true;
    char* text = nullptr;
    std::size_t size = 0;
    while (source.next(text, size)) {
        progress.update(source.bytesRead(), source.lineNumber());
        if (reader.lineInPlace(text, size, source.lineNumber())) continue;
        isGood = false;
        const std::string report =
            options.m_stream + ":" + std::to_string(source.lineNumber()) + ": " + reader.error() + "\n";
        model::writeAll(STDERR_FILENO, report.data(), report.size());
        if (!options.m_isForgiving) break;
    }
    return isGood;
}

// The same, and false also if the stream could not be read. Whatever happens, the run can be ended behind it.
bool readStream(const ReplayOptions& options, stream::LineSource& source, stream::StreamReader& reader,
                Progress& progress) {
    bool isGood = false;
    try {
        isGood = readLines(options, source, reader, progress);
    } catch (const std::bad_alloc&) {
        base::complain("not enough memory to read on behind line " + std::to_string(source.lineNumber()));
    }
    if (source.error() == 0) return isGood;
    base::complain("cannot read the stream " + options.m_stream + ": " + std::strerror(source.error()));
    return false;
}

// Closes what was opened, whichever way the run ends.
struct StreamDescriptor {
    ~StreamDescriptor() {
        if (m_descriptor > STDIN_FILENO) ::close(m_descriptor);
    }
    const int m_descriptor;
};

int replay(const ReplayOptions& options) {
    std::uint64_t total = 0;
    const StreamDescriptor input{openStream(options.m_stream, total)};
    if (input.m_descriptor < 0) return base::EXIT_ERROR;
    session::Run run;
    int status = base::EXIT_ERROR;
    if (run.open(options.m_run)) {
        const base::StopSignal stop;
        stream::LineSource source(input.m_descriptor, &stop);
        Progress progress(options.m_isProgressShown, total);
        run.begin();
        const bool isGood = readStream(options, source, run.reader(), progress);
        progress.finish(source.bytesRead(), source.lineNumber());
        if (stop.isRequested())
            base::complain(std::string(stop.name()) + " after line " + std::to_string(source.lineNumber()) +
                           ": finishing the files");
        status = run.end();
        if (!isGood) status = base::EXIT_ERROR;
    }
    return status;
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
    command->add_option("STREAM", options->m_stream, "A file, or - for standard input")->required();
    command->callback([&chosen, options] { chosen = [options] { return replay(*options); }; });
}

}  // namespace host::cli
