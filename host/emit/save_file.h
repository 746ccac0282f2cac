// The file that keeps a delivered stream.
#pragma once

#include <string>
#include <string_view>

#include "host/base/descriptor.h"

namespace host::emit {

class SaveFile {
public:
    // Creates or empties the file. A symbolic link or a pipe without a reader under that name is refused.
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

    std::string m_path;
    std::string m_pending;
    base::Descriptor m_file;
    std::string m_error;
};

}  // namespace host::emit
