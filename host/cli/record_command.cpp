#include "host/cli/commands.h"

#if __has_include("host/record/record.h")

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <string_view>

#include "host/cli/run.h"
#include "host/cli/run_options.h"
#include "host/record/record.h"
#include "host/stream/stop_signal.h"

namespace host::cli {

namespace {

struct RecordCommandOptions {
    RunOptions m_run;
    RecordOptions m_record;
};

int recordMachine(RecordCommandOptions& options) {
    options.m_record.continuous = options.m_run.m_isContinuous;
    options.m_record.orderGiven = !options.m_run.m_order.empty();
    // The recorder hears signals itself while it collects; one that comes later must not cost the files.
    const stream::StopSignal stop;
    Run run;
    if (!run.open(options.m_run)) return EXIT_ERROR;
    run.begin();
    if (stop.isRequested()) {
        complain(std::string("ended by ") + stop.name() + " before the collection");
        return run.end();
    }
    std::uint64_t number = 0;
    const auto deliver = [&](std::string_view line) {
        if (run.reader().line(line, ++number)) return true;
        complain("recorded line " + std::to_string(number) + ": " + run.reader().error());
        return false;
    };
    const RecordResult result = record(options.m_record, deliver);
    const int status = run.end();
    return result == RecordResult::Complete ? status : EXIT_ERROR;
}

}  // namespace

void addRecordCommand(CLI::App& program, Command& chosen, const std::vector<std::string>& words) {
    auto* const command = program.add_subcommand("record", "Sample this machine and deliver to writers");
    const auto options = std::make_shared<RecordCommandOptions>();
    RecordOptions& record = options->m_record;
    record.command = words;
    record.progress = ::isatty(STDERR_FILENO) != 0;
    addRunOptions(*command, options->m_run);
    command->add_option("--seconds", record.seconds, "Length of the collection; 0: until SIGINT or SIGTERM")
        ->type_name("S")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    command->add_option("--interval", record.intervalMs, "Time between two samples")
        ->type_name("MS")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    command
        ->add_option("--flush-every", record.flushEverySec, "Time between two deliveries of a continuous run")
        ->type_name("S")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    command->add_option("--save", record.save, "Keep the message stream in this file")->type_name("FILE");
    command->add_option("--root", record.root, "Where proc, sys and etc are looked for")
        ->type_name("DIR")
        ->capture_default_str();
    command->add_flag("--progress,!--no-progress", record.progress,
                      "Show how far the collection is (default: if standard error is a terminal)");
    command->callback([&chosen, options] { chosen = [options] { return recordMachine(*options); }; });
}

}  // namespace host::cli

#else

namespace host::cli {

void addRecordCommand(CLI::App&, Command&, const std::vector<std::string>&) {}

}  // namespace host::cli

#endif
