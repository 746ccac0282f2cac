#pragma once

#include <cstddef>
#include <string>

#include "plugins/json_text.h"
#include "plugins/output_file.h"

// The file of a JSON document. The text is written to the file as it grows, so that only a small part of it
// is in memory at any time.
//
// REQUIRES: open, then the document through writer() with drainIfFull between its parts, then finish.
class DocumentSink {
public:
    DocumentSink();
    DocumentSink(const DocumentSink&) = delete;
    DocumentSink& operator=(const DocumentSink&) = delete;

    // Creates the file, or empties an old one. False if that fails, without a log line.
    bool open(const std::string& path);

    JsonTextWriter& writer() { return m_writer; }

    // Writes out what has gathered, when that is enough to be worth a system call.
    void drainIfFull() {
        if (m_buffer.GetSize() >= DRAIN_SIZE) drain_i();
    }

    // True once a write has failed; nothing more reaches the file then.
    bool hasFailed() const { return m_error != 0; }

    // Writes the rest and a newline and closes the file. True if all of it has reached the system; otherwise
    // an error line names the path and the reason.
    bool finish();

private:
    static constexpr std::size_t DRAIN_SIZE = std::size_t{64} * 1024;

    void drain_i();
    void noteFailure_i();

    std::string m_path;
    FilePtr m_file;
    JsonBuffer m_buffer;
    JsonTextWriter m_writer;
    int m_error = 0;  // errno of the first failure
};
