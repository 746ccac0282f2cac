// A table of the kernel with a line for each kind of interrupt and a column for each CPU that is online.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace host::record {

class InterruptTable {
public:
    struct Line {
        std::string label;                    // in front of the colon
        std::string rest;                     // after the numbers, as it stands there
        std::vector<std::uint64_t> readings;  // by CPU number, as last read
        std::vector<bool> known;              // whether that CPU has been read
        std::uint64_t rise = 0;               // of all CPUs since the update before
        bool isNew = true;                    // since the update before, or reports another device now
    };

    // Takes the file's content. A CPU that comes back goes on where it was; a number that falls has gone
    // round after 32 bits, if that is a small step.
    void update(std::string_view text);

    // The lines of the last update first, in its order; `count()` of them.
    std::vector<Line>& lines() { return m_lines; }
    std::size_t count() const { return m_count; }

private:
    void takeHeader_i(std::string_view line);
    void takeLine_i(std::string_view line);
    Line& find_i(std::string_view label);

    std::vector<unsigned> m_cpus;  // of the columns
    std::vector<Line> m_lines;
    std::size_t m_count = 0;
};

}  // namespace host::record
