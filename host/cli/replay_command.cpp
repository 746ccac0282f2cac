#include <unistd.h>
#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "host/base/complain.h"
#include "host/base/duration.h"
#include "host/base/exit_status.h"
#include "host/base/stop_signal.h"
#include "host/base/transfer.h"
#include "host/cli/commands.h"
#include "host/cli/progress.h"
#include "host/cli/replay_inputs.h"
#include "host/cli/run_options.h"
#include "host/emit/save_file.h"
#include "host/importers/input_kinds.h"
#include "host/session/delivery.h"
#include "host/session/input_feeder.h"
#include "host/session/run.h"
#include "host/stream/stream_reader.h"

namespace host::cli {

namespace {

struct ReplayOptions {
    session::RunOptions m_run;
    std::vector<std::string> m_inputs;
    std::string m_kind;          // empty: recognised by content
    std::string m_save;          // empty: the stream is not kept
    bool m_isForgiving = false;  // skip bad lines
    std::string m_interval = "5";
    double m_intervalSec = 5;
    bool m_isProgressShown = false;
};

void warn(const std::string& text) {
    const std::string line = text + "\n";
    base::writeAll(STDERR_FILENO, line);
}

void report(const std::string& name, const importers::Damage& damage) {
    warn(name + ": offset " + std::to_string(damage.offset) + ": " + damage.what);
}

// Feeds what the inputs become, until they end or one is damaged.
void import(const ReplayInputs& inputs, bool isQuiet, session::InputFeeder& feeder, double intervalSec) {
    importers::Input* input = inputs.inputs().front().get();
    std::uint64_t bytesBefore = 0;  // of the inputs that have been read
    emit::Output output([&](std::string_view line) {
        return feeder.feedMade(line, bytesBefore + input->content().bytesRead());
    });
    const auto note = [&](const std::string& text) {
        if (!isQuiet) base::complain(input->name() + ": " + text);
    };
    const auto fail = [&](const std::string& why) {
        if (!why.empty()) base::complain(input->name() + ": " + why);
        feeder.fail();
    };
    const auto importer = inputs.kind().make({output, note, warn, fail, intervalSec});
    if (inputs.kind().lost != nullptr) note(inputs.kind().lost);
    for (const auto& part : inputs.inputs()) {
        if (part.get() != input) bytesBefore += input->content().bytesRead();
        input = part.get();
        importers::Damage damage;
        const std::string& error = part->content().error();  // of reading or of the compression
        const bool isGood = importer->read(*part, damage) && output.isOpen() && error.empty();
        if (!output.isOpen()) damage.what = feeder.lineError();
        if (!error.empty()) warn(part->name() + ": " + error);
        if (!isGood && error.empty()) report(part->name(), damage);
        if (!isGood) feeder.fail();
        if (!isGood || part->isStopped()) break;
    }
    if (!output.isOpen()) return;
    importer->finish();
    if (output.isOpen()) return;
    report(input->name(), {input->content().offset(), feeder.lineError()});
    feeder.fail();
}

// Whatever happens, the run can be ended after it.
void feed(const ReplayInputs& inputs, bool isQuiet, session::InputFeeder& feeder, double intervalSec) {
    try {
        if (inputs.kind().make != nullptr) return import(inputs, isQuiet, feeder, intervalSec);
        for (const auto& input : inputs.inputs())
            if (!feeder.feedStream(input->name(), input->content(), inputs.doubtOf(*input))) return;
    } catch (const std::bad_alloc&) {
        base::complain("not enough memory to read on behind line " + std::to_string(feeder.lines()));
        feeder.fail();
    }
}

bool isNamedLikeResult(const std::string& input, const std::string& output) {
    const auto plain = [](const std::string& path) {
        return std::filesystem::absolute(path).lexically_normal().string();
    };
    return plain(input).starts_with(plain(output.ends_with('/') ? output + "run" : output));
}

// A result that is given by mistake gives nothing, and is not to be lost for that. Returns false after a
// complaint about its first line.
bool mayGiveAnything(const ReplayOptions& options, const ReplayInputs& inputs, const base::StopSignal& stop) {
    importers::Input& first = *inputs.inputs().front();
    if (inputs.kind().make != nullptr || options.m_isForgiving) return true;
    if (!isNamedLikeResult(first.name(), options.m_run.m_output)) return true;
    const std::string doubt = inputs.doubtOf(first);
    if (doubt.empty()) return true;
    session::Delivery delivery;
    stream::StreamReader reader(delivery);
    session::InputFeeder(reader, stop, false).feedStream(first.name(), first.content(), doubt);
    return false;
}

// Returns false after a complaint about a file that is to be written at once, and is an input.
bool keepsInputs(const ReplayOptions& options, const ReplayInputs& inputs) {
    const std::pair<const char*, const std::string&> written[] = {{"--save ", options.m_save},
                                                                  {"--log ", options.m_run.m_log},
                                                                  {"--statuses ", options.m_run.m_statuses}};
    for (const auto& [option, path] : written) {
        if (!inputs.contain(path)) continue;
        base::complain(option + path + ": this file is read");
        return false;
    }
    return true;
}

// Opens the file that keeps the stream, if the user wants one. Returns false after a complaint.
bool openSave(const std::string& path, std::unique_ptr<emit::SaveFile>& file) {
    if (path.empty()) return true;
    file = std::make_unique<emit::SaveFile>(path);
    if (!file->isGood()) base::complain(file->error());
    return file->isGood();
}

// Returns false after a complaint.
bool readInterval(ReplayOptions& options) {
    const auto interval = base::parseDuration(options.m_interval);
    if (!interval || *interval == 0) {
        base::complain("--interval: " + base::notADuration(options.m_interval));
        return false;
    }
    options.m_intervalSec = *interval;
    return true;
}

int replay(const ReplayOptions& options) {
    const base::StopSignal stop;
    ReplayInputs inputs;
    if (!inputs.open(options.m_inputs, stop)) return base::EXIT_ERROR;
    if (!options.m_kind.empty() && !inputs.setKind(options.m_kind)) return base::EXIT_ERROR;
    session::Run run;
    std::unique_ptr<emit::SaveFile> save;
    const auto isReady = [&] {
        return keepsInputs(options, inputs) && inputs.recognise() && mayGiveAnything(options, inputs, stop) &&
               openSave(options.m_save, save);
    };
    if (!run.open(options.m_run, isReady)) return base::EXIT_ERROR;
    session::InputFeeder feeder(run.reader(), stop, options.m_isForgiving);
    if (save != nullptr) feeder.setKeeper([&save](std::string_view line) { save->append(line); });
    const bool isProgressShown = options.m_isProgressShown && !options.m_run.m_isQuiet;
    Progress progress(isProgressShown, inputs.totalSize());
    if (isProgressShown)
        feeder.setWatcher([&](std::uint64_t bytes, std::uint64_t lines) { progress.update(bytes, lines); });
    if (!run.begin()) return base::EXIT_ERROR;
    feed(inputs, options.m_run.m_isQuiet, feeder, options.m_intervalSec);
    progress.finish(feeder.bytes(), feeder.lines());
    if (stop.isRequested())
        base::complain(std::string(stop.name()) + " after line " + std::to_string(feeder.lines()) +
                       ": finishing the files");
    if (save != nullptr && !save->finish()) {
        base::complain(save->error());
        feeder.fail();
    }
    if (save != nullptr && options.m_save != "-") run.addFile(options.m_save);
    if (run.reader().contentLines() == 0 && feeder.isGood() && !stop.isRequested())
        base::complain("the stream is empty: it defines nothing and delivers nothing");
    const int status = run.end();
    return feeder.isGood() ? status : base::EXIT_ERROR;
}

}  // namespace

void addReplayCommand(CLI::App& program, Command& chosen) {
    auto* const command = program.add_subcommand(
        "replay", "Deliver a message stream, or a recording that becomes one, to writers");
    const auto options = std::make_shared<ReplayOptions>();
    options->m_isProgressShown = ::isatty(STDERR_FILENO) != 0;
    addRunOptions(*command, options->m_run);
    command
        ->add_option("--from", options->m_kind,
                     "The kind of the inputs, whatever they look like: " + importers::kindNames())
        ->type_name("KIND");
    command
        ->add_option("--save", options->m_save,
                     "Keep the message stream in this file, compressed if its name ends in .zst")
        ->type_name("FILE");
    command
        ->add_option("--interval", options->m_interval,
                     "Time between samples that do not tell their time: a table of turbostat (default: 5 s)")
        ->type_name("TIME");
    command->add_flag("--keep-going", options->m_isForgiving, "Skip bad lines of the stream");
    command->add_flag("--progress,!--no-progress", options->m_isProgressShown,
                      "Show how far the run has come (default: if standard error is a terminal)");
    command->add_option("INPUT", options->m_inputs, "Files, the parts of one run; - is standard input")
        ->required();
    command->callback([&chosen, options] {
        chosen = [options]() -> int {
            if (!readInterval(*options) || !checkStandardOutput(options->m_run, options->m_save))
                return base::EXIT_ERROR;
            return replay(*options);
        };
    });
}

}  // namespace host::cli
