// The runs of one group, as their sources give them.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/base/byte_source.h"
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

// Adds the runs that an argument means to the group. Returns false with a message in `error` if its file
// cannot be used, if it names no run, or if the group gets too large.
using ReadArgument = std::function<bool(const Argument& argument, Group& group, std::string& error)>;

// Reads all runs that the words name, in order, by `read`. Returns false with a message in `error` if that
// does.
bool readGroup(const std::vector<std::string>& words, const ReadArgument& read, Group& group,
               std::string& error);

// What `read` does for a file whose content is at hand: an automation file or a message stream.
bool readContent(base::ByteSource& content, const Argument& argument, Group& group, std::string& error);

}  // namespace host::compare
