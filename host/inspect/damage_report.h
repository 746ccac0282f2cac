#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

namespace host::inspect {

// Reports what is wrong with a file, a line each: "FILE: offset N: what is wrong".
class DamageReport {
public:
    // `err` belongs to the caller.
    DamageReport(const std::string& file, std::ostream& err) : m_file(file), m_err(err) {}

    // Reports `what` at the byte `offset` of the file, whose number is printed alike in every locale.
    void add(std::uint64_t offset, std::string_view what) {
        m_err << m_file << ": offset " << std::to_string(offset) << ": " << what << '\n';
        ++m_count;
    }

    // The number of lines so far.
    std::uint64_t count() const { return m_count; }

private:
    std::string m_file;
    std::ostream& m_err;
    std::uint64_t m_count = 0;
};

}  // namespace host::inspect
