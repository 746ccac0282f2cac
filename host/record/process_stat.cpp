#include "host/record/process_stat.h"

#include <algorithm>

#include "host/base/text.h"

namespace host::record {

namespace {

void skipFields(std::string_view& text, int count) {
    for (; count > 0; --count) {
        text.remove_prefix(std::min(text.size(), text.find_first_not_of(' ')));
        text.remove_prefix(std::min(text.size(), text.find(' ')));
    }
}

}  // namespace

// The name may hold anything, and ends at the last parenthesis.
bool ProcessStat::parse(std::string_view text) {
    const std::size_t open = text.find('(');
    const std::size_t close = text.rfind(')');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open) return false;
    name = text.substr(open + 1, close - open - 1);
    text.remove_prefix(close + 1);
    skipFields(text, 1);  // the state
    if (!base::takeUnsigned(text, parent)) return false;
    skipFields(text, 9);  // some of these are negative
    std::uint64_t user = 0;
    std::uint64_t system = 0;
    if (!base::takeUnsigned(text, user) || !base::takeUnsigned(text, system)) return false;
    jiffies = user + system;
    skipFields(text, 6);
    return base::takeUnsigned(text, start);
}

bool ProcessFolder::open(const Root& root) {
    if (m_folder) return true;
    base::Descriptor folder = root.openFolder("proc");
    m_folder.reset(folder.isOpen() ? fdopendir(folder.get()) : nullptr);
    if (m_folder) folder.release();
    return m_folder != nullptr;
}

void ProcessFolder::each(const Root& root, const std::function<void(std::uint64_t, std::uint64_t)>& act) {
    if (!open(root)) return;
    rewinddir(m_folder.get());
    while (const dirent* entry = readdir(m_folder.get())) {
        std::string_view name = entry->d_name;
        std::uint64_t pid = 0;
        if (name.front() >= '1' && name.front() <= '9' && base::takeUnsigned(name, pid) && name.empty())
            act(pid, entry->d_ino);
    }
}

}  // namespace host::record
