// CPU time and memory of the control groups that use most of it, in both versions of the kernel's tree.
#include <algorithm>
#include <map>
#include <utility>

#include "host/base/text.h"
#include "host/emit/top_metric.h"
#include "host/emit/value_metric.h"
#include "host/record/sources/sources.h"

namespace host::record {

namespace {

const std::string BASE = "sys/fs/cgroup";
constexpr int SAMPLES_PER_SCAN = 5;  // new groups are looked for so often

// The file of this name in every group below one folder.
class GroupFiles {
public:
    struct Group {
        SampleFile file;
        std::uint64_t scan = 0;  // in which it was there
        bool isRead = false;
        std::uint64_t reading = 0;  // as last read
        bool isReopened = false;    // since then
        emit::TopMetric::Item item{};
        std::size_t value = 0;  // index among the values, from 1
    };

    // Takes the first of these folders (below the tree's base) that is there and has groups with that file.
    // The base itself is one where all controllers share a tree.
    bool open(const Root& root, std::initializer_list<std::pair<const char*, const char*>> choices) {
        const bool isShared = root.open(BASE + "/cgroup.controllers").isOpen();
        for (const auto& [folder, file] : choices) {
            if (*folder == 0 && !isShared) continue;
            m_folder = BASE + folder;
            m_file = file;
            scan(root);
            if (!m_groups.empty()) return true;
        }
        return false;
    }

    // Looks for groups that came or went.
    void scan(const Root& root) {
        ++m_scan;
        walk_i(root, "");
        std::erase_if(m_groups, [&](const auto& entry) { return entry.second.scan != m_scan; });
    }

    std::map<std::string, Group>& groups() { return m_groups; }
    const std::string& file() const { return m_file; }

private:
    void walk_i(const Root& root, const std::string& path) {
        const std::string inside = path + "/";
        for (const std::string& name : root.folders(m_folder + path)) {
            const std::string group = inside + name;
            const auto known = m_groups.find(group);
            if (known != m_groups.end()) {
                known->second.scan = m_scan;
            } else if (SampleFile file(root, m_folder + group + "/" + m_file); file.isOpen()) {
                m_groups[group] = {.file = std::move(file), .scan = m_scan, .item = {group, {}}};
            }
            walk_i(root, group);
        }
    }

    std::string m_folder;
    std::string m_file;
    std::uint64_t m_scan = 0;
    std::map<std::string, Group> m_groups;  // by path
};

class GroupTimeSource : public Source {
public:
    explicit GroupTimeSource(SourceContext& context)
        : m_context(context),
          m_metric(context, {.section = {0, "cgroup", "Control Group CPU Time", ""},
                             .quantity = {emit::QuantityKind::Time, "Control Group CPU Time", "usec"},
                             .rate = {emit::QuantityKind::Share, "Control Group CPU Share", "%"},
                             .rateFactor = 1e-4,
                             .of = "Control group",
                             .top = context.top}) {}

    bool prepare() override {
        if (!m_files.open(m_context.root, {{"", "cpu.stat"},
                                           {"/cpuacct", "cpuacct.usage"},
                                           {"/cpu,cpuacct", "cpuacct.usage"},
                                           {"/unified", "cpu.stat"}}))
            return false;
        m_metric.define({});
        if (m_metric.isWanted()) m_descriptor = m_context.define.descriptor("CPU Time");
        return true;
    }

    void baseline(std::uint64_t ticks) override {
        m_metric.baseline(ticks);
        each_i([](GroupFiles::Group&, std::uint64_t) {});
    }

    void sample(std::uint64_t ticks) override {
        if (++m_samples % SAMPLES_PER_SCAN == 0) m_files.scan(m_context.root);
        m_metric.begin(ticks);
        each_i([&](GroupFiles::Group& group, std::uint64_t rise) { m_metric.take(group.item, rise); });
        m_metric.end([&](emit::TopMetric::Item& item) {
            item.head = emit::elementHead(m_context.define.entity(item.name), m_descriptor);
        });
    }

    void report(emit::Report& report) override { m_metric.report(report); }

private:
    // By how much each rose; a group that was not there at the scan before started at 0.
    void each_i(auto withRise) {
        for (auto& [path, group] : m_files.groups()) {
            std::uint64_t usec = 0;
            if (!read_i(group, usec)) {
                group.file.reopen(m_context.root);  // another one of that name may be there
                group.isReopened = true;
                continue;
            }
            // Of another one, which started at 0, all is new; of the same one only what it used since.
            if (std::exchange(group.isReopened, false) && (!group.isRead || usec < group.reading))
                group.reading = group.isRead ? 0 : usec;
            group.isRead = true;
            if (usec > group.reading) withRise(group, usec - group.reading);
            group.reading = usec;
        }
    }

    bool read_i(const GroupFiles::Group& group, std::uint64_t& usec) {
        std::string_view text = group.file.read(m_buffer);
        constexpr std::string_view key = "usage_usec ";
        const bool isNanoseconds = m_files.file() == "cpuacct.usage";
        if (!isNanoseconds && text.starts_with(key)) text.remove_prefix(key.size());
        if (!base::takeUnsigned(text, usec)) return false;
        if (isNanoseconds) usec /= 1000;
        return true;
    }

    SourceContext& m_context;
    emit::TopMetric m_metric;
    GroupFiles m_files;
    emit::Id m_descriptor = 0;
    int m_samples = 0;
    std::vector<char> m_buffer;
};

class GroupMemorySource : public Source {
public:
    explicit GroupMemorySource(SourceContext& context)
        : m_context(context),
          m_metric(context, {.section = {0, "cgroup", "Control Group Memory", ""},
                             .quantity = {emit::QuantityKind::Size, "Memory", "B"},
                             .what = "Memory",
                             .of = "Control group",
                             .decimals = 0}) {}

    bool prepare() override {
        if (!m_files.open(m_context.root, {{"", "memory.current"}, {"/memory", "memory.usage_in_bytes"}}))
            return false;
        m_metric.define();
        return true;
    }

    void baseline(std::uint64_t ticks) override { m_metric.baseline(ticks); }

    void sample(std::uint64_t ticks) override {
        if (++m_samples % SAMPLES_PER_SCAN == 0) m_files.scan(m_context.root);
        m_metric.begin(ticks);
        for (const auto& [bytes, path] : largest_i()) {
            GroupFiles::Group& group = m_files.groups()[*path];
            if (group.value == 0) {
                std::size_t& value = m_values[*path];
                if (value == 0) value = m_metric.add(m_context.define.entity(*path), *path) + 1;
                group.value = value;
            }
            m_metric.takeWhole(group.value - 1, bytes);
        }
        m_metric.end();
    }

    void report(emit::Report& report) override { m_metric.report(report); }

private:
    // Of the groups that hold most, the largest first.
    std::vector<std::pair<std::uint64_t, const std::string*>> largest_i() {
        std::vector<std::pair<std::uint64_t, const std::string*>> sizes;
        for (auto& [path, group] : m_files.groups()) {
            std::uint64_t bytes = 0;
            if (group.file.readUnsigned(bytes))
                sizes.emplace_back(bytes, &path);
            else
                group.file.reopen(m_context.root);
        }
        std::stable_sort(sizes.begin(), sizes.end(),
                         [](const auto& a, const auto& b) { return a.first > b.first; });
        if (m_context.top != 0 && sizes.size() > m_context.top) sizes.resize(m_context.top);
        return sizes;
    }

    SourceContext& m_context;
    emit::ValueMetric m_metric;
    GroupFiles m_files;
    std::map<std::string, std::size_t> m_values;  // by path, from 1
    int m_samples = 0;
};

}  // namespace

SourcePtr makeGroupTimeSource(SourceContext& context) {
    return std::make_unique<GroupTimeSource>(context);
}

SourcePtr makeGroupMemorySource(SourceContext& context) {
    return std::make_unique<GroupMemorySource>(context);
}

}  // namespace host::record
