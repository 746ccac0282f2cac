#include <unistd.h>
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/base/complain.h"
#include "host/base/exit_status.h"
#include "host/base/text.h"
#include "host/base/transfer.h"
#include "host/cli/commands.h"
#include "host/cli/run_summary.h"
#include "host/emit/json_line.h"
#include "host/model/registry.h"

namespace host::cli {

namespace {

struct InfoOptions {
    std::vector<std::string> m_files;
    bool m_isJson = false;
};

// RFC 3339 in UTC with nine digits; empty if the run knows no time of day.
std::string startText(std::uint64_t nanoseconds) {
    constexpr std::uint64_t SECOND = 1000000000;
    if (nanoseconds == 0) return {};
    const auto seconds = static_cast<std::time_t>(nanoseconds / SECOND);
    std::tm parts{};
    ::gmtime_r(&seconds, &parts);
    char date[40];
    const std::size_t length = std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &parts);
    const std::string fraction = std::to_string(SECOND + nanoseconds % SECOND);
    return std::string(date, length) + "." + fraction.substr(1) + "Z";
}

void printJson(const std::string& file, const RunSummary& summary) {
    emit::Output output([](std::string_view line) {
        return std::fwrite(line.data(), 1, line.size(), stdout) == line.size() &&
               std::putc('\n', stdout) != EOF;
    });
    const std::string start = startText(summary.start);
    emit::JsonLine line("file", file);
    line.member("kind", summary.kind).member("run", summary.run).member("host", summary.host);
    line.member("cpu", summary.cpu).member("kernel", summary.kernel).key("start");
    start.empty() ? line.null() : line.value(start);
    line.member("duration", summary.durationSec).member("metrics", summary.metrics);
    line.member("samples", summary.samples).member("losses", summary.losses).member("size", summary.size);
    line.writeTo(output);
}

std::string orUnknown(const std::string& text) {
    return text.empty() ? "-" : text;
}

void printText(const std::string& file, const RunSummary& summary) {
    const std::string texts[] = {file,
                                 summary.kind,
                                 "run " + orUnknown(summary.run),
                                 "host " + orUnknown(summary.host),
                                 "CPU " + orUnknown(summary.cpu),
                                 "kernel " + orUnknown(summary.kernel),
                                 "start " + orUnknown(startText(summary.start)),
                                 base::fixedText(summary.durationSec, 3) + " s",
                                 std::to_string(summary.metrics) + " metrics",
                                 std::to_string(summary.samples) + " samples",
                                 std::to_string(summary.losses) + " lost",
                                 std::to_string(summary.size) + " bytes"};
    std::string line;
    for (const std::string& text : texts) line += (line.empty() ? "" : ", ") + text;
    // What a file says of itself must not break the line.
    for (char& character : line)
        if (static_cast<unsigned char>(character) < 0x20) character = ' ';
    std::puts(line.c_str());
}

struct Row {
    std::string file;
    RunSummary summary;
};

// Adds the row of a file of a known kind. Returns false after a line on what is wrong with the file.
bool read(const std::string& file, std::vector<Row>& rows) {
    std::string error;
    const auto input = importers::Input::open(file, nullptr, error);
    if (input == nullptr) {
        base::complain(error);
        return false;
    }
    Row row{file, {}};
    model::Registry::reset();
    const bool isGood = summarise(*input, row.summary, error);
    if (!row.summary.kind.empty()) rows.push_back(std::move(row));
    if (isGood) return true;
    error += "\n";
    base::writeAll(STDERR_FILENO, error);
    return false;
}

// What all parts of a run have in common; empty if the file is none, or can't be read again.
std::string runKeyOf(const Row& row) {
    const importers::InputKind* const kind = importers::findKind(row.summary.kind);
    std::string error;
    if (kind == nullptr || kind->place == nullptr || row.summary.size == 0) return {};
    const auto input = importers::Input::open(row.file, nullptr, error);
    const auto key = input != nullptr ? kind->place(*input) : std::nullopt;
    return key ? row.summary.kind + '\n' + key->run : std::string();
}

// The later parts of a run have the machine's names from the first one, if that is among the files.
void nameMachines(std::vector<Row>& rows) {
    const auto isNameless = [](const Row& row) {
        return row.summary.host.empty() && row.summary.cpu.empty();
    };
    if (rows.size() < 2 || std::none_of(rows.begin(), rows.end(), isNameless)) return;
    std::map<std::string, const RunSummary*> named;
    for (const Row& row : rows)
        if (!isNameless(row)) named.try_emplace(runKeyOf(row), &row.summary);
    named.erase(std::string());
    for (Row& row : rows) {
        const auto first = isNameless(row) ? named.find(runKeyOf(row)) : named.end();
        if (first == named.end()) continue;
        row.summary.host = first->second->host;
        row.summary.cpu = first->second->cpu;
        row.summary.kernel = first->second->kernel;
    }
}

int info(const InfoOptions& options) {
    bool isGood = true;
    std::vector<Row> rows;
    for (const std::string& file : options.m_files) isGood = read(file, rows) && isGood;
    model::Registry::reset();
    nameMachines(rows);
    for (const Row& row : rows)
        options.m_isJson ? printJson(row.file, row.summary) : printText(row.file, row.summary);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        base::complain("cannot write to standard output");
        return base::EXIT_ERROR;
    }
    return isGood ? base::EXIT_GOOD : base::EXIT_ERROR;
}

}  // namespace

void addInfoCommand(CLI::App& program, Command& chosen) {
    auto* const command = program.add_subcommand("info", "Tell in a line what a result or a recording is");
    const auto options = std::make_shared<InfoOptions>();
    command->add_flag("--json", options->m_isJson, "A JSON object per line");
    command->add_option("FILE", options->m_files, "Anything that replay takes; - is standard input")
        ->required();
    command->callback([&chosen, options] { chosen = [options] { return info(*options); }; });
}

}  // namespace host::cli
