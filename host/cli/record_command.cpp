#include "host/base/complain.h"
#include "host/base/exit_status.h"
#include "host/cli/commands.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <string_view>

#include "host/base/stop_signal.h"
#include "host/cli/run_options.h"
#include "host/emit/order_line.h"
#include "host/record/places.h"
#include "host/record/record.h"
#include "host/session/run.h"

namespace host::cli {

namespace {

struct RecordCommandOptions {
    session::RunOptions m_run;
    record::RecordOptions m_record;
};

int runRecord(RecordCommandOptions& options) {
    options.m_record.continuous = options.m_run.m_isContinuous;
    // The recorder hears signals itself while it collects; one that comes later must not cost the files.
    const base::StopSignal stop;
    session::Run run;
    if (!run.open(options.m_run) || !record::checkPlaces(options.m_run.m_writers, options.m_run.m_output))
        return base::EXIT_ERROR;
    if (!options.m_run.m_order.empty()) options.m_record.order = emit::orderLine(options.m_run.m_order);
    if (!run.begin()) return base::EXIT_ERROR;
    if (stop.isRequested()) {
        base::complain(std::string("ended by ") + stop.name() + " before the collection");
        return run.end();
    }
    std::uint64_t number = 0;
    const auto deliver = [&](std::string_view line) {
        if (run.reader().line(line, ++number)) return true;
        base::complain("recorded line " + std::to_string(number) + ": " + run.reader().error());
        return false;
    };
    const record::RecordResult result = record::recordMachine(options.m_record, deliver);
    const int status = run.end();
    return result == record::RecordResult::Complete ? status : base::EXIT_ERROR;
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
        ->add_option("--seconds", recording.seconds, "Length of the collection; 0: until SIGINT or SIGTERM")
        ->type_name("S")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    command->add_option("--interval", recording.intervalMs, "Time between two samples")
        ->type_name("MS")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    command
        ->add_option("--flush-every", recording.flushEverySec,
                     "Time between two deliveries of a continuous run")
        ->type_name("S")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    command->add_option("--save", recording.save, "Keep the message stream in this file")->type_name("FILE");
    command->add_option("--root", recording.root, "Where proc, sys and etc are looked for")
        ->type_name("DIR")
        ->capture_default_str();
    command->add_flag("--progress,!--no-progress", recording.progress,
                      "Show how far the collection is (default: if standard error is a terminal)");
    command->callback([&chosen, options] { chosen = [options] { return runRecord(*options); }; });
}

}  // namespace host::cli
