#pragma once

#include <optional>
#include <string>

#include "host/base/descriptor.h"

namespace host::record {

// The kernel's tracing files, which list what events there are: where they are mounted, or else in a mount
// that this process alone has, and that ends with it.
class TraceFolder {
public:
    // isOpen() says whether there is one that can be read, error() why not.
    TraceFolder();

    bool isOpen() const { return m_folder.isOpen(); }
    const std::string& error() const { return m_error; }

    // The whole file; nothing, with errno set, if it can't be read.
    std::optional<std::string> text(const std::string& path) const;

    int descriptor() const { return m_folder.get(); }

private:
    bool openMounted_i();
    void mount_i();

    base::Descriptor m_folder;
    std::string m_error;
};

}  // namespace host::record
