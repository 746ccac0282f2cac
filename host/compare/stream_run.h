#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "host/compare/group.h"
#include "host/compare/run_statistics.h"
#include "host/stream/stream_reader.h"

namespace host::compare {

// The run that a message stream (docs/stream.md) holds, line by line. Uses the process's registry, and resets
// it before and after.
class StreamRun {
public:
    explicit StreamRun(const Argument& argument);
    StreamRun(const StreamRun&) = delete;
    StreamRun& operator=(const StreamRun&) = delete;
    ~StreamRun();

    // Take the next line, which comes from line `number` of its file, or is made from a result. Return false
    // if it is bad: error says where and why. The first may change the text and needs
    // stream::JsonLine::PADDING bytes more.
    bool lineInPlace(char* text, std::size_t size, std::uint64_t number);
    bool line(std::string_view text, std::uint64_t number);

    // Adds the run to the group, unless the argument's pattern does not match its output name, which is the
    // file's name without what follows the first dot. Returns false, with an error, if there is none to add.
    bool finish(Group& group);

    const std::string& error() const { return m_error; }

private:
    bool judge_i(bool isGood, std::uint64_t number);

    struct CleanRegistry {
        CleanRegistry();
        ~CleanRegistry();
    };

    const Argument& m_argument;
    CleanRegistry m_registry;
    RunStatistics m_statistics;
    stream::StreamReader m_reader;
    std::string m_error;
};

}  // namespace host::compare
