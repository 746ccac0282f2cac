// What can hold the package awake, as it is at the start and at the end: counters, latencies and requirements
// of the package, devices that may not be powered down, and limits that programs and drivers have asked for.
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <utility>

#include "host/record/sources/awake_files.h"
#include "host/record/sources/sources.h"

namespace host::record {

namespace {

constexpr emit::Id FIRST_SECTION = 0x7FFFFF00;  // no metric's
constexpr const char* DEBUG_FOLDER = "sys/kernel/debug/pmc_core";
constexpr const char* NOT_THERE = "-";

// Tables by their number.
enum Topic : std::size_t { Counters, Tolerance, Requirements, Devices, LinkPolicy, Limits, TOPICS };

struct Table {
    const char* name;
    const char* title;  // after the name
    std::vector<std::string> keys;
    std::vector<std::pair<std::string, std::string>>
        values;  // name with a blank after it, units with one before
    bool isCounter = false;
    bool isThere = false;  // its files are
    std::vector<AwakeRow> start{};
    std::vector<AwakeRow> end{};
};

// How much a counter has risen, perhaps beyond its largest number, in the decimal or hexadecimal form of its
// texts. One that fell was set back.
std::string riseOf(const std::string& start, const std::string& end) {
    const auto number = [](std::string_view text) {
        const bool isHex = text.starts_with("0x");
        if (isHex) text.remove_prefix(2);
        std::uint64_t value = 0;
        std::from_chars(text.data(), text.data() + text.size(), value, isHex ? 16 : 10);
        return value;
    };
    if (start == NOT_THERE || end == NOT_THERE) return NOT_THERE;
    const std::uint64_t rise = number(end) - number(start);
    return rise < std::uint64_t{1} << 63 ? std::to_string(rise) : NOT_THERE;
}

class AwakeSource : public Source {
public:
    explicit AwakeSource(SourceContext& context)
        : m_context(context),
          m_tables{{"Package C-State Counters", "Counts", {"State"}, {{"", ""}}, true},
                   {"Latency Tolerance",
                    "Latencies",
                    {"Component"},
                    {{"Non-Snoop ", " (nsec)"}, {"Snoop ", " (nsec)"}}},
                   {"Substate Requirements", "Status", {"Element"}, {{"", ""}}},
                   {"Devices Kept On", "Status", {"Device"}, {{"", ""}}},
                   {"Link Power Policy", "Setting", {"Setting"}, {{"", ""}}},
                   {"Latency Limits", "Requests", {"Of", "Limit"}, {{"", ""}}}} {}

    bool prepare() override {
        read_i(true);
        bool isAny = false;
        for (Table& table : m_tables) {
            isAny = isAny || table.isThere;
            if (table.isThere) m_context.define.announce(table.name, table.start.size());
        }
        return isAny;
    }

    void baseline(std::uint64_t /*ticks*/) override {}
    void sample(std::uint64_t /*ticks*/) override {}
    void finish(std::uint64_t /*ticks*/) override { read_i(false); }

    void report(emit::Report& report) override {
        for (std::size_t topic = 0; topic < TOPICS; ++topic)
            report_i(report, m_tables[topic], FIRST_SECTION + static_cast<emit::Id>(topic));
    }

private:
    bool wants_i(Topic topic) const { return m_context.wants(m_tables[topic].name); }

    std::vector<AwakeRow>& rows_i(Topic topic) {
        return m_isStart ? m_tables[topic].start : m_tables[topic].end;
    }

    void read_i(bool isStart) {
        m_isStart = isStart;
        withFile_i(Counters, std::string(DEBUG_FOLDER) + "/package_cstate_show",
                   [&](std::string_view text) { rows_i(Counters) = readPackageCounters(text); });
        withFile_i(Tolerance, std::string(DEBUG_FOLDER) + "/ltr_show",
                   [&](std::string_view text) { rows_i(Tolerance) = readLatencyTolerance(text); });
        withFile_i(Requirements, std::string(DEBUG_FOLDER) + "/substate_requirements",
                   [&](std::string_view text) {
                       SubstateRequirements found = readSubstateRequirements(text);
                       if (m_isStart)
                           m_tables[Requirements].keys.insert(m_tables[Requirements].keys.end(),
                                                              found.substates.begin(), found.substates.end());
                       rows_i(Requirements) = std::move(found.rows);
                   });
        withFile_i(LinkPolicy, "sys/module/pcie_aspm/parameters/policy", [&](std::string_view text) {
            rows_i(LinkPolicy) = {{{"ASPM Policy"}, {std::string(chosenOf(text))}}};
        });
        withFile_i(Limits, "dev/cpu_dma_latency", [&](std::string_view text) {
            const std::string limit = readLatencyLimit(text);
            if (!limit.empty()) rows_i(Limits).push_back({{"System", "Wakeup Latency (usec)"}, {limit}});
        });
        if (!wants_i(Devices) && !wants_i(Limits)) return;
        if (isStart) {
            for (const std::string& device : m_context.devices.get()) device_i(device);
        } else {
            for (const std::string& device : deviceFolders(m_context.root)) device_i(device);
        }
    }

    void withFile_i(Topic topic, const std::string& path, auto take) {
        if (!wants_i(topic)) return;
        const SampleFile file(m_context.root, path);
        const bool isForbidden = !file.isOpen() && (errno == EACCES || errno == EPERM);
        if (file.isOpen()) {
            m_tables[topic].isThere = true;
            take(file.read(m_buffer));
        } else if (isForbidden && m_isStart && exists_i(path)) {
            m_context.note(std::string(m_tables[topic].name) + ": " + path + " may not be read: run as root");
        }
    }

    // A folder that may not be looked into has the file if the driver that makes it is there.
    bool exists_i(const std::string& path) const {
        const std::size_t slash = path.rfind('/');
        const std::vector<std::string> names = m_context.root.names(path.substr(0, slash));
        if (!names.empty())
            return std::find(names.begin(), names.end(), path.substr(slash + 1)) != names.end();
        return path.starts_with(DEBUG_FOLDER) &&
               m_context.root.openFolder("sys/bus/platform/drivers/intel_pmc_core").isOpen();
    }

    void device_i(const std::string& path) {
        const std::string folder = DEVICES + path + "/power/";
        const std::string device = path.empty() ? path : path.substr(1);
        const std::string control = m_context.root.text(folder + "control");
        if (wants_i(Devices) && !control.empty()) {
            m_tables[Devices].isThere = true;
            if (control == "on") {
                const std::string status = m_context.root.text(folder + "runtime_status");
                rows_i(Devices).push_back({{device}, {status.empty() ? "on" : status}});
            }
        }
        if (!wants_i(Limits)) return;
        limit_i(device, folder + "pm_qos_resume_latency_us", "Resume Latency (usec)", "0");
        limit_i(device, folder + "pm_qos_latency_tolerance_us", "Latency Tolerance (usec)", "auto");
        limit_i(device, folder + "pm_qos_no_power_off", "No Power Off", "0");
    }

    // `none` is what the file says while nobody has asked for anything.
    void limit_i(const std::string& device, const std::string& path, const char* limit,
                 std::string_view none) {
        std::string text = m_context.root.text(path);
        if (text.empty()) return;
        m_tables[Limits].isThere = true;
        if (text == none) return;
        if (text == "n/a") text = "0";  // no latency will do
        rows_i(Limits).push_back({{device, limit}, {std::move(text)}});
    }

    static void report_i(emit::Report& report, const Table& table, emit::Id section) {
        const auto rows = merged_i(table);
        if (rows.empty()) return;
        std::vector<std::string> columns = table.keys;
        for (const auto& [value, units] : table.values)
            for (const char* const when : {"Start", "End"})
                columns.emplace_back(value).append(when).append(units);
        if (table.isCounter) columns.emplace_back("Rise");
        report.section({section, "idle", table.name, ""});
        report.table(std::string(table.name) + " Summary: " + table.title, columns);
        for (const auto& row : rows) report.row(row);
    }

    // What was there at the start, and after it what came up until the end.
    static std::vector<std::vector<std::string>> merged_i(const Table& table) {
        const auto find = [](const std::vector<AwakeRow>& rows, const AwakeRow& like) {
            const auto found = std::find_if(rows.begin(), rows.end(),
                                            [&](const AwakeRow& row) { return row.keys == like.keys; });
            return found != rows.end() ? &*found : nullptr;
        };
        std::vector<std::vector<std::string>> merged;
        const auto add = [&](const AwakeRow& key, const AwakeRow* start, const AwakeRow* end) {
            std::vector<std::string> cells = key.keys;
            for (std::size_t i = 0; i < key.values.size(); ++i) {
                cells.push_back(start != nullptr ? start->values[i] : NOT_THERE);
                cells.push_back(end != nullptr ? end->values[i] : NOT_THERE);
            }
            if (table.isCounter) cells.push_back(riseOf(cells[cells.size() - 2], cells.back()));
            merged.push_back(std::move(cells));
        };
        for (const AwakeRow& row : table.start) add(row, &row, find(table.end, row));
        for (const AwakeRow& row : table.end)
            if (find(table.start, row) == nullptr) add(row, nullptr, &row);
        return merged;
    }

    SourceContext& m_context;
    Table m_tables[TOPICS];
    std::vector<char> m_buffer;
    bool m_isStart = true;
};

}  // namespace

SourcePtr makeAwakeSource(SourceContext& context) {
    return std::make_unique<AwakeSource>(context);
}

}  // namespace host::record
