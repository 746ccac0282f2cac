#include "export/run_name.h"

namespace exporting {

std::string runName(std::string_view outputName) {
    const std::string_view name = outputName.substr(outputName.rfind('/') + 1);
    return name.empty() ? "run" : std::string(name);
}

}  // namespace exporting
