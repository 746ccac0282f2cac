#pragma once

#include <string>

#include "pwr/logger.h"

struct stat;

namespace host::model {

class Environment;

// The handle of an output file: flush writes the byte buffer to it. The first flush makes the file, which
// appears complete under its name: it is written beside it and renamed, with the mode and the owner of a file
// that it replaces. Where no file can be made beside it, or be given that owner, a file that is there is
// emptied and written. Later flushes append. The handle for the empty name stands for the run and has no
// file.
class OutputHandle : public pwr::Logger {
public:
    // A failure to write is reported to `environment`, which must outlive this object.
    OutputHandle(const std::string& name, Environment& environment);
    ~OutputHandle() override;

    void flush() override;

private:
    int create_i();
    int replace_i(const struct stat* old, bool& canRewrite);
    int append_i();
    int rewrite_i();
    int folder_i() const;

    const std::string m_name;
    Environment& m_environment;
    bool m_exists = false;  // made by this run
};

}  // namespace host::model
