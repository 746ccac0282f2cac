// Names of devices that distinguish them.
#pragma once

#include <set>
#include <string>

namespace host::record {

class UniqueNames {
public:
    // The name, or `device` if it is empty; when it was taken already, with the device after it.
    std::string take(const std::string& name, const std::string& device) {
        std::string chosen = name.empty() ? device : name;
        if (!m_taken.insert(chosen).second) chosen += " (" + device + ")";
        m_taken.insert(chosen);
        return chosen;
    }

private:
    std::set<std::string> m_taken;
};

}  // namespace host::record
