#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "host/base/complain.h"
#include "host/base/duration.h"
#include "host/base/exit_status.h"
#include "host/base/stop_signal.h"
#include "host/base/text.h"
#include "host/cli/commands.h"
#include "host/cli/preset.h"
#include "host/cli/prom_file.h"
#include "host/cli/run_options.h"
#include "host/emit/order_line.h"
#include "host/record/command.h"
#include "host/record/list_sources.h"
#include "host/record/part_processes.h"
#include "host/record/record.h"
#include "host/session/places.h"
#include "host/session/run.h"

namespace host::cli {

namespace {

// The command line as it was given.
struct Words {
    std::string seconds;
    std::string flushEvery;
    std::string sources;
    std::string top = "20";
    std::string rotate;
    std::string prom;
    std::string trace;
    std::vector<std::string> intervals;
    std::vector<std::string> metrics;
    std::vector<std::string> excluded;
    std::string preset;
    std::vector<std::string> command;
    bool isList = false;
    PresetPlaces places;  // of the options that a preset gave
};

struct RecordCommandOptions {
    session::RunOptions m_run;
    record::RecordOptions m_record;
    Words m_words;
};

// Of options that may be repeated `index` says which.
bool refuse(const Words& words, const std::string& option, const std::string& why, std::size_t index = 0) {
    const auto places = words.places.find(option);
    const bool isOfPreset = places != words.places.end() && index < places->second.size();
    base::complain((isOfPreset ? places->second[index] + ": " : "") + option + ": " + why);
    return false;
}

bool readSeconds(const Words& words, const char* option, const std::string& text, bool isZeroGood,
                 double& seconds) {
    if (text.empty()) return true;
    const auto length = base::parseDuration(text);
    if (!length || (*length == 0 && !isZeroGood)) return refuse(words, option, base::notADuration(text));
    seconds = *length;
    return true;
}

bool readTop(const Words& words, std::size_t& top) {
    std::string_view left = words.top;
    std::uint64_t number = 0;
    const bool isNumber = base::takeUnsigned(left, number) && left.empty() && number > 0;
    if (!isNumber && words.top != "all")
        return refuse(words, "--top", "not a number above 0 or \"all\": \"" + words.top + "\"");
    top = number;
    return true;
}

// "1h" or "100M".
bool readRotation(const Words& words, record::RecordOptions& options) {
    const std::string& text = words.rotate;
    if (text.empty()) return true;
    std::string_view left = text;
    std::uint64_t number = 0;
    const std::size_t unit = std::string("kMG").find(text.back());
    if (unit == std::string::npos)
        options.rotateSec = base::parseDuration(text).value_or(0.0);
    else if (base::takeUnsigned(left, number) && left.size() == 1 && number <= 1'000'000'000)
        options.rotateBytes = number << (10 * (unit + 1));
    return options.isRotated() ||
           refuse(words, "--rotate",
                  "neither a length of time nor a number of bytes, as 1h or 100M: \"" + text + "\"");
}

bool readTrace(const Words& words, record::TraceOptions& trace) {
    if (words.trace.empty())
        return !trace.isSummary ||
               refuse(words, "--trace-summary", "there is no --trace that it could be of");
    const std::string why = trace.setSets(words.trace);
    return why.empty() || refuse(words, "--trace", why);
}

// What is said in words, as values. False after a complaint.
bool readWords(const Words& words, record::RecordOptions& options) {
    if (!readSeconds(words, "--seconds", words.seconds, true, options.seconds) ||
        !readSeconds(words, "--flush-every", words.flushEvery, false, options.flushEverySec) ||
        !readTop(words, options.top) || !readRotation(words, options))
        return false;
    for (std::size_t i = 0; i < words.intervals.size(); ++i)
        if (const auto why = options.selection.addInterval(words.intervals[i], options.intervalMs);
            !why.empty())
            return refuse(words, "--interval", why, i);
    if (!words.sources.empty())
        if (const auto why = options.selection.setSources(words.sources); !why.empty())
            return refuse(words, "--sources", why);
    if (const auto why = options.selection.setMetrics(words.metrics, words.excluded); !why.empty()) {
        base::complain(why);
        return false;
    }
    return readTrace(words, options.trace);
}

// What cannot be said together with a command.
bool checkCommand(const RecordCommandOptions& options) {
    const std::vector<std::string>& command = options.m_words.command;
    const std::vector<std::string>& given = options.m_record.command;
    const auto mark = std::find(given.begin(), given.end(), "--");
    if (command.empty()) {
        if (mark == given.end()) return true;
        base::complain("no command stands behind --");
        return false;
    }
    if (std::vector<std::string>(mark == given.end() ? mark : mark + 1, given.end()) != command) {
        base::complain("unknown word " + command.front() + "; a command stands behind --");
        return false;
    }
    const Words& words = options.m_words;
    if (!words.seconds.empty()) return refuse(words, "--seconds", "a command says itself how long it runs");
    if (options.m_run.m_output == "-") return refuse(words, "--output", "standard output is the command's");
    if (options.m_record.save == "-") return refuse(words, "--save", "standard output is the command's");
    return true;
}

// Whether all is there that the recording needs besides the places of its results. Complains if it is not.
bool isReady(const record::RecordOptions& options) {
    if (!record::checkRoot(options)) return false;
    const std::string save = options.isRotated() ? record::partName(options.save, ".0001") : options.save;
    if (save.empty() || save == "-" || session::hasPlace(save)) return true;
    base::complain("Unable to create " + save + ": " + std::strerror(errno));
    return false;
}

int runParts(RecordCommandOptions& options, session::Run& run, const emit::LineSink& deliver) {
    if (options.m_run.m_output == "-" || options.m_record.save == "-")
        return refuse(options.m_words, "--rotate", "parts can't share standard output"), base::EXIT_ERROR;
    const record::Deliverer deliverer{[&](const std::string& suffix) { return run.begin(suffix); }, deliver,
                                      [&] { return run.end(); }, [&] { return run.results(); }};
    if (options.m_words.command.empty()) return record::recordInParts(options.m_record, deliverer);
    record::Command command(options.m_words.command);
    options.m_record.seconds = 0;
    return record::recordInParts(options.m_record, deliverer, &command);
}

int runCommand(RecordCommandOptions& options, session::Run& run, const emit::LineSink& deliver) {
    record::Command command(options.m_words.command);
    options.m_record.seconds = 0;
    int startStatus = 0;
    bool isBegun = true;
    const record::RecordResult result = record::recordCommand(
        options.m_record, command, [&] { isBegun = run.begin(); }, deliver, startStatus);
    if (startStatus != 0) return startStatus;
    if (result == record::RecordResult::NotStarted || !isBegun) return base::EXIT_ERROR;
    const int status = run.end();
    if (command.status() != 0) return command.status();
    return result == record::RecordResult::Complete ? status : base::EXIT_ERROR;
}

int runChecked(RecordCommandOptions& options);

// Runs with a copy of the lines for the file of a monitoring system.
int runWithProm(RecordCommandOptions& options) {
    PromFile file;
    std::signal(SIGPIPE, SIG_IGN);
    if (!file.open(options.m_words.prom, options.m_run.m_plugins)) return base::EXIT_ERROR;
    options.m_record.tee = [&file](std::string_view line) { return file.line(line); };
    const int status = runChecked(options);
    return file.close() || status != 0 ? status : int{base::EXIT_FAILED};
}

int runRecord(RecordCommandOptions& options) {
    if (!readWords(options.m_words, options.m_record) || !checkCommand(options) ||
        !checkStandardOutput(options.m_run, options.m_record.save))
        return base::EXIT_ERROR;
    if (options.m_words.isList) return record::listSources(options.m_record);
    if (!options.m_words.command.empty())
        if (const int status = record::Command(options.m_words.command).check(); status != 0) return status;
    options.m_record.continuous = options.m_run.m_isContinuous;
    options.m_record.isQuiet = options.m_run.m_isQuiet;
    if (options.m_record.isQuiet) options.m_record.progress = false;
    return options.m_words.prom.empty() ? runChecked(options) : runWithProm(options);
}

int runChecked(RecordCommandOptions& options) {
    const bool hasCommand = !options.m_words.command.empty();
    // The recorder hears signals itself while it collects; one that comes later must not cost the files.
    const base::StopSignal stop;
    session::Run run;
    options.m_run.m_needsPlaces = true;  // better told now than after an hour of measuring
    options.m_run.m_isInParts = options.m_record.isRotated();
    if (!run.open(options.m_run, [&] { return isReady(options.m_record); })) return base::EXIT_ERROR;
    if (!options.m_run.m_order.empty()) options.m_record.order = emit::orderLine(options.m_run.m_order);
    std::uint64_t number = 0;
    const auto deliver = [&](std::string_view line) {
        if (run.reader().line(line, ++number)) return true;
        base::complain("recorded line " + std::to_string(number) + ": " + run.reader().error());
        return false;
    };
    if (options.m_record.isRotated()) return runParts(options, run, deliver);
    if (hasCommand) return runCommand(options, run, deliver);
    if (!run.begin()) return base::EXIT_ERROR;
    if (stop.isRequested()) {
        base::complain(std::string("ended by ") + stop.name() + " before the collection");
        return run.end();
    }
    const record::RecordResult result = record::recordMachine(options.m_record, deliver);
    const int status = run.end();
    return result == record::RecordResult::Complete ? status : base::EXIT_ERROR;
}

void addChoices(CLI::App& command, Words& words) {
    command.add_flag("--list", words.isList,
                     "Show what there is to record on this machine, and record nothing");
    command.add_option("--sources", words.sources, "Record these sources alone; names with commas between")
        ->type_name("LIST");
    command
        .add_option("--metrics", words.metrics,
                    "Record the metrics of this name alone (* and ? stand for others); may be repeated")
        ->type_name("GLOB")
        ->allow_extra_args(false);
    command.add_option("--exclude", words.excluded, "Leave out the metrics of this name; may be repeated")
        ->type_name("GLOB")
        ->allow_extra_args(false);
    command
        .add_option("--top", words.top,
                    "So many processes, interrupt lines and control groups in a sample, or \"all\"")
        ->type_name("N")
        ->capture_default_str();
}

void addTrace(CLI::App& command, Words& words, record::TraceOptions& trace) {
    command
        .add_option(
            "--trace", words.trace,
            "Trace sets of kernel events: idle, freq, wakeups, procs, sources, marks; with commas between")
        ->type_name("LIST");
    command.add_flag("--trace-summary", trace.isSummary,
                     "Keep the tables of the trace, not its events over time");
    command
        .add_option("--trace-buffer", trace.bufferKib,
                    "Memory for events of each CPU that wait to be read, in KiB")
        ->type_name("KIB")
        ->check(CLI::Range(std::uint64_t{4}, std::uint64_t{1} << 20))
        ->capture_default_str();
}

}  // namespace

void addRecordCommand(CLI::App& program, Command& chosen, const std::vector<std::string>& words) {
    auto* const command = program.add_subcommand("record", "Sample this machine and deliver to writers");
    const auto options = std::make_shared<RecordCommandOptions>();
    record::RecordOptions& recording = options->m_record;
    recording.command = words;
    recording.progress = ::isatty(STDERR_FILENO) != 0;
    addRunOptions(*command, options->m_run);
    command
        ->add_option("--seconds", options->m_words.seconds,
                     "Length of the collection, as 90, 3m or 1h; 0: until a signal [5]")
        ->type_name("S");
    command
        ->add_option(
            "--interval", options->m_words.intervals,
            "Time between two samples in milliseconds, of all or of one source; may be repeated [100]")
        ->type_name("[SOURCE=]MS")
        ->allow_extra_args(false);
    command
        ->add_option("--flush-every", options->m_words.flushEvery,
                     "Time between two deliveries of a continuous run, in seconds [1]")
        ->type_name("S");
    addChoices(*command, options->m_words);
    addTrace(*command, options->m_words, recording.trace);
    command
        ->add_option("--rotate", options->m_words.rotate,
                     "Begin new results, NAME.0001 and on, after a time or so many bytes of stream: 1h, 100M")
        ->type_name("LENGTH");
    command
        ->add_option("--keep", recording.keep, "Complete parts that stay; older ones of this run are removed")
        ->type_name("N")
        ->check(CLI::Range(std::size_t{1}, std::size_t{1} << 20).description(""));
    command->add_option("--save", recording.save, "Keep the message stream in this file")->type_name("FILE");
    command->add_option("--root", recording.root, "Where proc, sys and etc are looked for")
        ->type_name("DIR")
        ->capture_default_str();
    command->add_flag("--progress,!--no-progress", recording.progress,
                      "Show how far the collection is (default: if standard error is a terminal)");
    command->add_option("command", options->m_words.command,
                        "Behind --: a command and its arguments, which is recorded for as long as it runs");
    command
        ->add_option("--prom", options->m_words.prom,
                     "Keep the state in this file for a collector of text files, new at every --flush-every")
        ->type_name("FILE");
    command
        ->add_option("--preset", options->m_words.preset, "Options from NAME.conf, where none are given here")
        ->type_name("NAME");
    command->callback([&chosen, options, command] {
        chosen = [options, command] {
            const std::string& preset = options->m_words.preset;
            if (!preset.empty() && !applyPreset(*command, preset, options->m_words.places))
                return int{base::EXIT_ERROR};
            return runRecord(*options);
        };
    });
}

}  // namespace host::cli
