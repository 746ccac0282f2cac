// What whole disks read and wrote, and how long they were busy.
#include <algorithm>
#include <set>

#include "host/base/text.h"
#include "host/record/sources/device_counters.h"
#include "host/record/sources/sources.h"

namespace host::record {

namespace {

constexpr std::uint64_t SECTOR = 512;  // bytes, whatever the device's own are
constexpr std::uint64_t MSEC_RANGE = std::uint64_t{1} << 32;

struct DiskLine {
    std::string name;
    std::vector<std::uint64_t> fields;  // reads, merged, sectors, msec; the same of writes; in flight; busy
};

bool parseLine(std::string_view line, DiskLine& disk) {
    std::uint64_t number = 0;
    // NOLINTNEXTLINE(misc-redundant-expression): two numbers are taken
    if (!base::takeUnsigned(line, number) || !base::takeUnsigned(line, number)) return false;
    line = base::trimmed(line);
    disk.name = line.substr(0, line.find(' '));
    line.remove_prefix(disk.name.size());
    disk.fields.clear();
    while (base::takeUnsigned(line, number)) disk.fields.push_back(number);
    return disk.fields.size() >= 10;
}

class DiskSource : public Source {
public:
    explicit DiskSource(SourceContext& context)
        : m_context(context),
          m_file(context, "proc/diskstats"),
          m_counters(context,
                     {{"Read", 0, 2, SECTOR},
                      {"Written", 0, 6, SECTOR},
                      {"Read", 1, 0, 1},
                      {"Written", 1, 4, 1},
                      {"Busy", 2, 9, 1, MSEC_RANGE}},
                     {counterSpec("disk", "Disk Transfer", "B", {"Disk", "Direction"}),
                      counterSpec("disk", "Disk Requests", "requests", {"Disk", "Direction"}),
                      counterSpec("disk", "Disk Busy Time", "msec", {"Disk", "State"})}) {}

    bool prepare() override {
        for (const std::string& name : m_context.root.names("sys/block")) m_wholes.insert(name);
        bool isThere = false;
        read_i([&](const DiskLine& disk) {
            m_counters.add(disk.name);
            isThere = true;
        });
        if (isThere) m_counters.define();
        return isThere;
    }

    void baseline(std::uint64_t ticks) override {
        m_counters.baseline(ticks);
        read_i([&](const DiskLine& disk) { m_counters.start(disk.name, disk.fields); });
    }

    void sample(std::uint64_t ticks) override {
        m_counters.begin(ticks);
        read_i([&](const DiskLine& disk) { m_counters.take(disk.name, disk.fields); });
        m_counters.end();
    }

    void report(emit::Report& report) override { m_counters.report(report); }

private:
    // A disk that is new must be looked up; where the machine does not list its whole disks, a partition is
    // known by its name: that of another one with a number after.
    bool isPartition_i(const std::string& name) {
        if (m_wholes.count(name) != 0 || m_partitions.count(name) != 0) return m_wholes.count(name) == 0;
        const bool isListed = m_context.root.openFolder("sys/block/" + name).isOpen();
        bool isPart = !isListed && m_context.root.openFolder("sys/block").isOpen();
        if (!isListed && !isPart)
            isPart = std::any_of(m_wholes.begin(), m_wholes.end(), [&](const std::string& whole) {
                if (!name.starts_with(whole)) return false;
                std::string_view rest = std::string_view(name).substr(whole.size());
                const bool endsInDigit = whole.back() >= '0' && whole.back() <= '9';
                if (endsInDigit && !rest.starts_with('p')) return false;
                if (endsInDigit) rest.remove_prefix(1);
                return !rest.empty() && rest.find_first_not_of("0123456789") == std::string_view::npos;
            });
        (isPart ? m_partitions : m_wholes).insert(name);
        return isPart;
    }

    // Devices that never did anything, as loops without a file, are left out until they do.
    void read_i(auto withDisk) {
        std::string_view text;
        std::string_view line;
        if (!m_file.isReadable() || !m_file.readText(text, m_buffer)) return;
        while (base::takeLine(text, line)) {
            if (!parseLine(line, m_line) || (m_line.fields[0] == 0 && m_line.fields[4] == 0)) continue;
            if (!isPartition_i(m_line.name)) withDisk(m_line);
        }
    }

    SourceContext& m_context;
    WatchedFile m_file;
    DeviceCounters m_counters;
    std::set<std::string> m_wholes;
    std::set<std::string> m_partitions;
    DiskLine m_line;
    std::vector<char> m_buffer;
};

}  // namespace

SourcePtr makeDiskSource(SourceContext& context) {
    return std::make_unique<DiskSource>(context);
}

}  // namespace host::record
