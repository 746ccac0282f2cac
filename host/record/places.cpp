#include "host/record/places.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/base/complain.h"

namespace host::record {

bool checkPlaces(const std::string& writers, const std::string& output) {
    if (writers == "none") return true;
    if (::access(".", W_OK | X_OK) != 0) {
        base::complain(std::string("cannot write to the working directory, where the temporary files of the "
                                   "writers lie while a run goes on: ") +
                       std::strerror(errno));
        return false;
    }
    const std::size_t slash = output.rfind('/');
    if (writers == "auto" || output == "-" || slash == std::string::npos) return true;
    const std::string folder = output.substr(0, slash == 0 ? 1 : slash);
    if (::access(folder.c_str(), W_OK | X_OK) == 0) return true;
    base::complain("cannot write to the output folder " + folder + ": " + std::strerror(errno));
    return false;
}

}  // namespace host::record
