// The runs of one group, as their sources give them.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/compare/header.h"

namespace host::compare {

constexpr std::size_t MAX_RUNS = 1000;

// What is known of the machine that a run was made on; empty where it is not known.
struct Machine {
    std::string m_host;
    std::string m_cpu;
    std::string m_kernel;
    std::string m_command;
};

// A run is a line of an automation file, or the numbers of a result.
struct Run {
    std::string m_time;  // of the collection's start, as display text; empty if not known
    std::shared_ptr<const Header> m_header;
    Header::Reading m_reading = Header::Plain;
    std::string m_line;
    std::vector<std::pair<std::string, double>> m_numbers;
    std::optional<Machine> m_machine;
};

// One argument of the command line: a file, and which of its runs are meant.
struct Argument {
    std::string m_word;  // as given
    std::string m_path;
    std::optional<std::string> m_glob;  // on the output name; without it all runs
};

struct Group {
    std::vector<Run> m_runs;
    std::vector<std::string> m_notes;  // on what was left out

    // Whether another run may be added; otherwise `error` says that the argument holds too many.
    bool hasRoom(const Argument& argument, std::string& error) const;
};

// FILE or FILE:GLOB. A file of the whole name goes first, else the text is split at the first colon whose
// left side exists.
Argument parseArgument(const std::string& word);

// Reads all runs that the arguments name, in order. Returns false with a message in `error` if an argument
// names none or its file cannot be used, or if there are more than MAX_RUNS.
bool readGroup(const std::vector<std::string>& words, Group& group, std::string& error);

}  // namespace host::compare
