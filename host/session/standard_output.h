#pragma once

#include <string>
#include <vector>

#include "host/session/delivery.h"

namespace host::session {

// Standard output as the place of a result: the writer makes its file in a folder for temporary files, from
// where the file is copied when the run is over. The result is called "run".
class StandardOutput {
public:
    StandardOutput() = default;
    StandardOutput(const StandardOutput&) = delete;
    StandardOutput& operator=(const StandardOutput&) = delete;
    ~StandardOutput();

    // Makes the folder. Returns false with `error` set if the run's writers are not one that makes one file,
    // or the folder cannot be made.
    bool open(const std::vector<Delivery::Writer>& writers, bool isContinuous, std::string& error);

    // The path of the result without extension.
    std::string outputName() const { return m_folder + "/run"; }

    // Copies the file. Returns false with `error` set on failure; a writer that made no file has said why.
    bool copy(std::string& error);

private:
    std::string m_folder;  // empty until it is made
    std::string m_extension;
};

}  // namespace host::session
