#include "host/record/places.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/base/complain.h"

namespace host::record {

bool checkPlaces(const std::string& writers, const std::string& output) {
    if (writers == "none") return true;
    const std::size_t slash = output.rfind('/');
    if (output == "-") return true;
    const bool isHere = writers == "auto" || slash == std::string::npos;
    const std::string folder = isHere ? "." : output.substr(0, slash == 0 ? 1 : slash);
    if (::access(folder.c_str(), W_OK | X_OK) == 0) return true;
    base::complain("cannot write to the output folder " + folder + ": " + std::strerror(errno));
    return false;
}

}  // namespace host::record
