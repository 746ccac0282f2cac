#include "host/record/process_table.h"

#include <algorithm>

#include "host/base/text.h"

namespace host::record {

namespace {

constexpr std::uint64_t KERNEL_THREADS = 2;  // the parent of all kernel threads

std::string programOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos || slash + 1 == path.size() ? path : path.substr(slash + 1);
}

std::string bracketed(std::string name) {
    name.insert(name.begin(), '[');
    name.push_back(']');
    return name;
}

std::string withoutSuffix(std::string text, std::string_view suffix) {
    if (text.ends_with(suffix)) text.resize(text.size() - suffix.size());
    return text;
}

}  // namespace

bool ProcessTable::read_i(std::uint64_t pid, ProcessInfo& info) {
    const std::string folder = "proc/" + std::to_string(pid) + "/";
    const SampleFile file(m_root, folder + "stat");
    ProcessStat stat;
    if (!file.isOpen() || !stat.parse(file.read(m_buffer))) return false;
    const std::string name(stat.name);
    info.pid = pid;
    info.parent = stat.parent;
    info.start = stat.start;
    if (pid == KERNEL_THREADS || info.parent == KERNEL_THREADS) {
        info.path = bracketed(name);
        info.program = bracketed(name.substr(0, name.find_first_of("/:")));
        return true;
    }
    info.path = withoutSuffix(m_root.link(folder + "exe"), " (deleted)");
    if (info.path.empty()) info.path = name;
    info.program = programOf(info.path);
    return true;
}

void ProcessTable::see_i(std::uint64_t pid, std::uint64_t inode) {
    const auto [entry, isNew] = m_known.try_emplace(pid);
    Known& known = entry->second;
    known.seen = true;
    if (!isNew && known.inode == inode) return;
    ProcessInfo info;
    if (!read_i(pid, info)) {
        // Gone between the look at the folder and this one.
        known.seen = false;
        if (isNew) m_known.erase(entry);
        return;
    }
    known.inode = inode;
    if (!isNew && known.info.start == info.start) return;
    if (!isNew) m_changes.exited.push_back(std::move(known.info));
    m_changes.started.push_back(info);
    if (!m_isFirst) m_young.push_back(pid);
    known.info = std::move(info);
}

const ProcessTable::Changes& ProcessTable::update() {
    m_changes.started.clear();
    m_changes.exited.clear();
    for (auto& entry : m_known) entry.second.seen = false;
    m_folder.each(m_root, [this](std::uint64_t pid, std::uint64_t inode) { see_i(pid, inode); });
    for (auto entry = m_known.begin(); entry != m_known.end();) {
        if (entry->second.seen) {
            ++entry;
            continue;
        }
        m_changes.exited.push_back(std::move(entry->second.info));
        entry = m_known.erase(entry);
    }
    const auto byPid = [](const ProcessInfo& a, const ProcessInfo& b) { return a.pid < b.pid; };
    std::sort(m_changes.started.begin(), m_changes.started.end(), byPid);
    std::sort(m_changes.exited.begin(), m_changes.exited.end(), byPid);
    m_isFirst = false;
    return m_changes;
}

// Kernel threads take on another name with each piece of work, but execute nothing.
void ProcessTable::check_i(Known& known) {
    ProcessInfo& info = known.info;
    if (info.pid == KERNEL_THREADS || info.parent == KERNEL_THREADS) return;
    const std::string target = m_root.link("proc/" + std::to_string(info.pid) + "/exe");
    if (!target.empty() && withoutSuffix(target, " (deleted)") == info.path) return;
    ProcessInfo now;
    if (!read_i(info.pid, now) || now.start != info.start || now.path == info.path) return;
    info = now;
    m_renamed.push_back(std::move(now));
}

const std::vector<ProcessInfo>& ProcessTable::check() {
    m_renamed.clear();
    std::size_t left = std::min(MOST_CHECKS, m_known.size());
    for (; left > 0 && !m_young.empty(); --left, m_young.pop_front())
        if (const auto known = m_known.find(m_young.front()); known != m_known.end()) check_i(known->second);
    for (; left > 0; --left) {
        auto next = m_known.upper_bound(m_checked);
        if (next == m_known.end()) next = m_known.begin();
        m_checked = next->first;
        check_i(next->second);
    }
    return m_renamed;
}

}  // namespace host::record
