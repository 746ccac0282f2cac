// The devices that the kernel keeps power settings of.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/record/sample_file.h"

namespace host::record {

// What stands in front of the path of a device.
inline constexpr const char* DEVICES = "sys/devices";

// The folders below DEVICES that hold a folder "power", as paths that begin with "/", or empty for DEVICES
// itself; in the order of a walk through all of them, by name.
std::vector<std::string> deviceFolders(const Root& root);

// The same as it was when it was first asked for: the walk takes most of the time before a recording begins.
class DeviceFolders {
public:
    explicit DeviceFolders(const Root& root) : m_root(root) {}

    const std::vector<std::string>& get() {
        if (!m_folders) m_folders = deviceFolders(m_root);
        return *m_folders;
    }

private:
    const Root& m_root;
    std::optional<std::vector<std::string>> m_folders;
};

}  // namespace host::record
