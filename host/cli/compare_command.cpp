#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <iostream>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/base/complain.h"
#include "host/cli/commands.h"
#include "host/cli/compare_inputs.h"
#include "host/compare/comparison.h"
#include "host/compare/gate.h"
#include "host/compare/group.h"
#include "host/compare/noise.h"
#include "host/compare/phrases.h"
#include "host/compare/report.h"

namespace host::cli {

namespace {

// Statuses of this command, made for scripts: a gate that could not be judged is not one that failed.
enum CompareStatus : int { EXIT_SAME = 0, EXIT_BROKEN = 1, EXIT_UNUSABLE = 2 };

constexpr const char* NAME = "compare";
constexpr const char* SEPARATOR = "--";

struct Options {
    std::vector<std::string> m_groupA;
    std::optional<std::vector<std::string>> m_groupB;  // none if no separator was given
    bool m_isNoise = false;
    std::string m_format = "text";
    std::string m_minChange = "1%";
    double m_alpha = 0.05;
    std::optional<std::size_t> m_top;
    std::vector<std::string> m_rules;
};

int refuse(const std::string& why) {
    base::complain("compare: " + why);
    return EXIT_UNUSABLE;
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
    return text;
}

// Reads one group. Its runs must be at least `least`.
bool readGroup(const std::vector<std::string>& words, const char* name, std::size_t least,
               compare::Group& group, std::string& error) {
    if (!compare::readGroup(words, readCompared, group, error)) return false;
    if (group.m_runs.size() >= least) return true;
    error = std::string("group ") + name + " has " + std::to_string(group.m_runs.size()) +
            (group.m_runs.size() == 1 ? " run" : " runs") + ", but needs " + std::to_string(least) +
            " or more: " + joined(words);
    return false;
}

// Remarks on input that was used all the same.
void writeNotes(std::span<const compare::Group> groups, const compare::RunTable& table) {
    for (const compare::Group& group : groups)
        for (const std::string& note : group.m_notes) base::complain("compare: " + note);
    for (std::size_t column = 0; column < table.columns(); ++column)
        if (table.isMixed(column))
            base::complain("compare: not all cells of this column are numbers, so it is left alone: " +
                           compare::printable(table.name(column)));
}

int finishOutput(int status) {
    std::cout.flush();
    return std::cout ? status : refuse("cannot write to standard output");
}

int measureNoise(const Options& options, compare::Format format) {
    std::array<compare::Group, 1> groups;
    std::string error;
    if (!readGroup(options.m_groupA, "A", 2 * compare::MIN_TESTED, groups[0], error)) return refuse(error);
    const compare::RunTable table(groups);
    if (table.comparable() == 0) return refuse("no column with numbers: " + joined(options.m_groupA));
    writeNotes(groups, table);
    compare::writeNoiseReport(format, table, options.m_alpha, compare::measureNoise(table, options.m_alpha),
                              options.m_top, std::cout);
    return finishOutput(EXIT_SAME);
}

// Applies all rules. Returns nothing, with a message, if one of them applies to no column.
std::optional<bool> isGateBroken(const std::vector<compare::Rule>& rules, const compare::RunTable& table,
                                 const compare::Comparison& comparison, std::vector<std::string>& messages) {
    bool isBroken = false;
    for (const compare::Rule& rule : rules) {
        const compare::RuleResult result = apply(rule, table, comparison);
        if (!result.m_isApplied) {
            refuse("no column that can be tested matches --fail " + rule.m_text);
            return std::nullopt;
        }
        for (const std::size_t place : result.m_broken)
            messages.push_back("--fail " + rule.m_text + ": " +
                               compare::describeChange(table, comparison, place));
        isBroken = isBroken || !result.m_broken.empty();
    }
    return isBroken;
}

int compareGroups(const Options& options, compare::Format format, double minChange,
                  const std::vector<compare::Rule>& rules) {
    std::array<compare::Group, 2> groups;
    std::string error;
    if (!readGroup(options.m_groupA, "A", 2, groups[0], error) ||
        !readGroup(*options.m_groupB, "B", 2, groups[1], error))
        return refuse(error);
    const compare::RunTable table(groups);
    if (table.comparable() == 0)
        return refuse("no column with numbers in both groups: " + joined(options.m_groupA) + " -- " +
                      joined(*options.m_groupB));
    compare::Comparison comparison = compare::compare(table, {options.m_alpha, minChange});
    comparison.m_machines = compare::compareMachines(groups);
    std::vector<std::string> messages;
    const std::optional<bool> isBroken = isGateBroken(rules, table, comparison, messages);
    if (!isBroken) return EXIT_UNUSABLE;
    writeNotes(groups, table);
    compare::writeReport(format, table, comparison, options.m_top, std::cout);
    for (const std::string& message : messages) base::complain("compare: " + message);
    return finishOutput(*isBroken ? EXIT_BROKEN : EXIT_SAME);
}

int runCompare(const Options& options) {
    const auto format = compare::formatOf(options.m_format);
    const auto minChange = compare::parsePercentage(options.m_minChange);
    if (!format) return refuse("--format takes text, csv, json, markdown or html, not " + options.m_format);
    if (!minChange) return refuse("--min-change takes a percentage like 1%, not " + options.m_minChange);
    if (!(options.m_alpha > 0 && options.m_alpha < 1)) return refuse("--alpha must be above 0 and below 1");
    std::vector<compare::Rule> rules;
    for (const std::string& text : options.m_rules) {
        const auto rule = compare::parseRule(text);
        if (!rule) return refuse("--fail takes GLOB:+3%, GLOB:-3% or GLOB:3%, not " + text);
        rules.push_back(*rule);
    }
    if (options.m_isNoise && options.m_groupB) return refuse("--aa takes one group, without --");
    if (options.m_isNoise && !rules.empty()) return refuse("--fail needs two groups, so not --aa");
    if (options.m_isNoise) return measureNoise(options, *format);
    if (!options.m_groupB || options.m_groupB->empty()) return refuse("two groups are needed: A... -- B...");
    return compareGroups(options, *format, *minChange, rules);
}

}  // namespace

int countParsedWords(const std::vector<std::string>& words) {
    const bool isCompare = words.size() > 1 && words[1] == NAME;
    const auto end = isCompare ? std::find(words.begin(), words.end(), SEPARATOR) : words.end();
    return static_cast<int>(end - words.begin());
}

void addCompareCommand(CLI::App& program, Command& chosen, const std::vector<std::string>& words) {
    auto* const command = program.add_subcommand(NAME, "Say what differs between two groups of runs");
    const auto options = std::make_shared<Options>();
    if (const auto separator = std::find(words.begin(), words.end(), SEPARATOR); separator != words.end())
        options->m_groupB.emplace(separator + 1, words.end());
    command->add_option("--format", options->m_format, "What is printed (default: text)")
        ->type_name("{text,csv,json,markdown,html}");
    command
        ->add_option("--top", options->m_top,
                     "Show at most so many columns, strongest first (default: 20; all with html; csv and "
                     "json always hold all)")
        ->check(CLI::Range(0, 1'000'000'000));
    command->add_option("--alpha", options->m_alpha, "Level of the adjusted p (default: 0.05)");
    command->add_option("--min-change", options->m_minChange, "Least change of interest (default: 1%)");
    command
        ->add_option("--fail", options->m_rules,
                     "GLOB:+3%: exit with status 1 if a column of that name differs by +3 % or more; -3% "
                     "for down, 3% for either; may be repeated")
        ->type_size(1)
        ->allow_extra_args(false);
    command->add_flag("--aa", options->m_isNoise,
                      "Split one group at random 200 times: how noisy is each column, and which change could "
                      "be seen?");
    command
        ->add_option(
            "A", options->m_groupA,
            "Automation files or results, each FILE or FILE:GLOB on the output name; those of the other "
            "group follow behind --: A... -- B...")
        ->required();
    command->footer(
        "Exit status: 0, 1 if a --fail rule is broken, 2 for input or options that cannot be used.");
    command->callback([&chosen, options] {
        chosen = [options] {
            try {
                return runCompare(*options);
            } catch (const std::bad_alloc&) {
                return refuse("not enough memory");
            }
        };
    });
}

}  // namespace host::cli
