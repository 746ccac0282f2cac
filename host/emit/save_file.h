// The file that keeps a delivered stream.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "host/base/descriptor.h"
#include "host/emit/zstd_frame.h"

namespace host::emit {

class SaveFile {
public:
    // Creates or empties the file, which is compressed if its name ends in ".zst"; "-" is standard output. A
    // symbolic link or a pipe without a reader under that name is refused.
    explicit SaveFile(std::string path);

    // Adds a line. After a failure nothing more is taken.
    void append(std::string_view line);

    // Brings all lines to the system; `finish` closes as well. False if anything of the file was ever lost.
    bool flush();
    bool finish();

    bool isGood() const { return m_error.empty(); }

    // Names path and reason of the first failure.
    const std::string& error() const { return m_error; }

private:
    void fail_i(const char* what);
    void write_i(bool isLast);

    std::string m_path;
    std::string m_pending;
    std::unique_ptr<ZstdFrame> m_frame;  // null if the file is not compressed
    std::string m_compressed;
    base::Descriptor m_file;
    std::string m_error;
};

}  // namespace host::emit
