#pragma once

#include <string>
#include <vector>

#include "host/base/descriptor.h"

namespace host::session {

// A folder of the process's own for temporary files, which writers make in the working directory under names
// that other processes may use as well.
//
// It is made below another folder as .pwrhost-XXXXXX, for this user alone, and holds a file that its process
// keeps locked. One whose process has been killed is so known, and is removed by the next that is made beside
// it.
class WorkFolder {
public:
    WorkFolder() = default;
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;
    // Leaves the folder, and removes it with all that is in it.
    ~WorkFolder();

    // Makes the folder below the first of `parents` that takes it. Returns false with `error` set, which
    // names the first.
    bool make(const std::vector<std::string>& parents, std::string& error);

    // Makes the folder the working directory, and the one before what base::userFolder stands for. Returns
    // false with errno set.
    bool enter();

    // The descriptor and the absolute path of the working directory that was entered from.
    const base::Descriptor& origin() const { return m_origin; }
    const std::string& originPath() const { return m_originPath; }

    // Leaves the folder to the process that this one was forked from.
    void forget();

    // Goes back and removes the folder. Returns false with errno set if something of it stays at path().
    bool leave();

    const std::string& path() const { return m_path; }

private:
    bool makeBelow_i(const std::string& parent);
    bool lock_i();
    bool remove_i();

    std::string m_path;  // absolute; empty if there is none
    std::string m_lockPath;
    base::Descriptor m_lock;
    base::Descriptor m_origin;
    std::string m_originPath;
};

}  // namespace host::session
