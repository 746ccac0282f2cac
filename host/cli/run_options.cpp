#include "host/cli/run_options.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "host/base/complain.h"
#include "host/base/instant.h"

namespace host::cli {

namespace {

constexpr std::uint64_t MOST_POINTS = 1000000000;

}  // namespace

bool checkStandardOutput(const session::RunOptions& options, const std::string& save) {
    if (options.m_output != "-" || save != "-") return true;
    base::complain("--output and --save: standard output takes a result or the stream, not both");
    return false;
}

void addRunOptions(CLI::App& command, session::RunOptions& options) {
    command
        .add_option("-w,--writers", options.m_writers,
                    "Option names with commas between, or all, or none (see pwrhost list)")
        ->type_name("LIST")
        ->capture_default_str();
    command
        .add_option("-o,--output", options.m_output,
                    "Path of the results without extension; DIR/ is DIR/run, - one result on standard output")
        ->type_name("NAME")
        ->capture_default_str();
    command
        .add_option_function<std::string>(
            "--start",
            [&options](const std::string& text) {
                const auto instant = base::parseInstant(text);
                if (!instant) throw CLI::ValidationError("--start", "no point in time: \"" + text + "\"");
                options.m_start = *instant;
            },
            "When the collection began, as 2026-11-21T09:06:56Z or in seconds since 1970")
        ->type_name("TIME");
    command.add_option("--label", options.m_labels, "A label for the time series; may be repeated")
        ->type_name("KEY=VALUE")
        ->allow_extra_args(false);
    command.add_flag("--continuous", options.m_isContinuous, "Deliver results while the run goes on");
    command
        .add_option("--plugins", options.m_plugins,
                    "A plug-in library in place of those of this program; may be repeated")
        ->type_name("FILE")
        ->allow_extra_args(false);
    command
        .add_option("--order", options.m_order, "Output configuration of the summary report, a JSON object")
        ->type_name("FILE");
    command
        .add_option_function<std::uint64_t>(
            "--max-points",
            [](std::uint64_t count) { ::setenv("PWR_MAX_POINTS", std::to_string(count).c_str(), 1); },
            "Most points that the page of \"html\" holds; beyond that a point stands for several samples "
            "(2000000)")
        ->type_name("N")
        ->check(CLI::Range(std::uint64_t{1}, MOST_POINTS));
    command
        .add_option("--log-level", options.m_logLevel,
                    "Log lines shown: 0 fatal, 1 error, 2 warning, 3 debug, 4 info")
        ->type_name("N")
        ->check(CLI::Range(0, 4))
        ->capture_default_str();
    command
        .add_option(
            "--log-tag", options.m_logTags,
            "Show all lines of a tag: text-writer-plugin, binarywriter, jsonwriter, continuous_writer")
        ->type_name("TAG")
        ->allow_extra_args(false);
    command.add_option("--log", options.m_log, "Write the log here instead of to standard error")
        ->type_name("FILE");
    command
        .add_option("--statuses", options.m_statuses,
                    "Write a line LINE,WRITER,OPERATION,STATUS here for every failure")
        ->type_name("FILE");
    command
        .add_option("--temp", options.m_temp,
                    "Where the folder of temporary files is made (default: TMPDIR, else beside the output)")
        ->type_name("DIR");
    command.add_flag("--quiet", options.m_isQuiet, "No list of files at the end, no progress, no notes");
}

}  // namespace host::cli
