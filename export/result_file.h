#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "pwr/logger.h"

namespace exporting {

// The path of a result: OUTPUT + `kind` + `extension`, or, for the part of a continuous run that is counted
// from 0, OUTPUT + `kind` + "_PART" + `extension`.
std::string resultPath(const std::string& outputName, std::string_view kind, std::string_view extension,
                       std::optional<unsigned> part);

// A result file in the making, written through the host's handle of its name.
//
// A file is a row of records. They gather in the handle's buffer, which goes to the host whenever it holds
// about a megabyte, always at the end of a record: what the host fails to write is whole records. The host
// reports such a failure by itself.
class ResultFile {
public:
    // Starts the file at `path`, whose first bytes reach the host at the first flush. No file may be open.
    void open(const std::string& path);

    bool isOpen() const { return m_handle != nullptr; }

    // Adds to the record that is being made. If memory is lacking throws std::bad_alloc.
    void append(std::string_view bytes) {
        m_handle->m_buffer.insert(m_handle->m_buffer.end(), bytes.begin(), bytes.end());
    }
    void append(char byte) { m_handle->m_buffer.push_back(byte); }

    // Completes the record.
    void endRecord() {
        m_recordStart = m_handle->m_buffer.size();
        if (m_recordStart >= FLUSH_SIZE) flush_i();
    }

    // Takes back what was added since the last record was complete.
    void dropRecord() { m_handle->m_buffer.resize(m_recordStart); }

    // Writes the complete records that are left and ends the file, which exists then even without any. Does
    // nothing if no file is open.
    void close();

private:
    static constexpr std::size_t FLUSH_SIZE = std::size_t{1} << 20;

    void flush_i();

    pwr::Logger* m_handle = nullptr;  // the host's
    std::size_t m_recordStart = 0;    // where the record that is being made begins in the buffer
};

}  // namespace exporting
