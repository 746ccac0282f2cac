#include "host/record/machine.h"

#include <sys/utsname.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <tuple>

#include "host/base/text.h"

namespace host::record {

namespace {

const std::string CPU_FOLDER = "sys/devices/system/cpu/";

// Value after "key : " in the first paragraph that has the key.
std::string_view cpuinfoValue(std::string_view text, std::string_view key) {
    std::string_view line;
    while (base::takeLine(text, line)) {
        const std::size_t colon = line.find(':');
        if (colon != std::string_view::npos && base::trimmed(line.substr(0, colon)) == key)
            return base::trimmed(line.substr(colon + 1));
    }
    return {};
}

// The kernel's numbers of this kind are of type int, as are those of a topology in the stream.
std::optional<unsigned> ifInt(std::uint64_t value) {
    if (value > std::numeric_limits<int>::max()) return std::nullopt;
    return static_cast<unsigned>(value);
}

std::optional<unsigned> toNumber(std::string_view text) {
    std::uint64_t value = 0;
    return base::takeUnsigned(text, value) ? ifInt(value) : std::nullopt;
}

std::optional<unsigned> numberIn(const Root& root, const std::string& path) {
    std::uint64_t value = 0;
    return SampleFile(root, path).readUnsigned(value) ? ifInt(value) : std::nullopt;
}

// Value of NAME=value or NAME="value".
std::string assignedValue(std::string_view text, std::string_view name) {
    std::string_view line;
    while (base::takeLine(text, line)) {
        if (!line.starts_with(name) || line.size() <= name.size() || line[name.size()] != '=') continue;
        line = base::trimmed(line.substr(name.size() + 1));
        if (line.size() >= 2 && line.front() == '"' && line.back() == '"')
            line = line.substr(1, line.size() - 2);
        return std::string(line);
    }
    return {};
}

std::string chipset(const Root& root) {
    const std::string folder = "sys/bus/pci/devices/";
    for (const std::string& device : root.names(folder)) {
        // The bridge to the slow devices is the chipset's front door.
        if (root.text(folder + device + "/class") != "0x060100") continue;
        return root.text(folder + device + "/vendor") + ":" + root.text(folder + device + "/device");
    }
    return {};
}

struct CpuPlace {
    unsigned package;
    unsigned die;
    unsigned cluster;
    unsigned core;
    unsigned number;
    auto operator<=>(const CpuPlace&) const = default;  // NOLINT(modernize-use-nullptr): a zero of its own
};

std::vector<unsigned> onlineCpus(const Root& root) {
    if (const auto listed = base::parseCpuList(root.text(CPU_FOLDER + "online")); listed && !listed->empty())
        return *listed;
    const auto offline = base::parseCpuList(root.text(CPU_FOLDER + "offline"));
    const auto isOffline = [&](unsigned number) {
        return offline && std::find(offline->begin(), offline->end(), number) != offline->end();
    };
    std::vector<unsigned> numbers;
    for (const std::string& name : root.names(CPU_FOLDER, "cpu"))
        if (const auto number = toNumber(std::string_view(name).substr(3)); number && !isOffline(*number))
            numbers.push_back(*number);
    return numbers;
}

std::vector<CpuPlace> places(const Root& root) {
    constexpr unsigned noCluster = ~0U;
    std::vector<CpuPlace> found;
    for (const unsigned number : onlineCpus(root)) {
        const std::string folder = CPU_FOLDER + "cpu" + std::to_string(number) + "/topology/";
        const auto read = [&](const char* name) { return numberIn(root, folder + name); };
        found.push_back({read("physical_package_id").value_or(0), read("die_id").value_or(0),
                         read("cluster_id").value_or(noCluster), read("core_id").value_or(number), number});
    }
    // A cluster counts as a module when several cores share it, but not when it is the whole package.
    std::map<std::pair<unsigned, unsigned>, std::set<std::pair<unsigned, unsigned>>> cores;
    std::map<unsigned, std::set<unsigned>> clusters;
    for (const CpuPlace& cpu : found) {
        cores[{cpu.package, cpu.cluster}].insert({cpu.die, cpu.core});
        clusters[cpu.package].insert(cpu.cluster);
    }
    for (CpuPlace& cpu : found)
        if (cores[{cpu.package, cpu.cluster}].size() < 2 || clusters[cpu.package].size() < 2)
            cpu.cluster = noCluster;
    std::sort(found.begin(), found.end());
    return found;
}

std::vector<TopologyNode> topology(const Root& root) {
    std::vector<TopologyNode> nodes;
    std::map<std::tuple<NodeType, unsigned, unsigned, unsigned>, int> known;
    const auto node = [&](NodeType type, unsigned package, unsigned group, unsigned id, int parent) {
        const auto [entry, isNew] =
            known.try_emplace({type, package, group, id}, static_cast<int>(nodes.size()));
        if (isNew) nodes.push_back({type, id, parent});
        return entry->second;
    };
    for (const CpuPlace& cpu : places(root)) {
        int parent = node(NodeType::Package, cpu.package, 0, cpu.package, -1);
        if (cpu.cluster != ~0U) parent = node(NodeType::Module, cpu.package, cpu.die, cpu.cluster, parent);
        parent = node(NodeType::Core, cpu.package, cpu.die, cpu.core, parent);
        nodes.push_back({NodeType::Thread, cpu.number, parent});
    }
    return nodes;
}

std::string orElse(const std::string& text, const std::string& other) {
    return text.empty() ? other : text;
}

void readProcessor(const Root& root, Machine& machine, double tscMHz) {
    const std::string info = root.text("proc/cpuinfo");
    machine.vendor = cpuinfoValue(info, "vendor_id");
    machine.modelName = cpuinfoValue(info, "model name");
    machine.processor = {toNumber(cpuinfoValue(info, "cpu family")).value_or(0),
                         toNumber(cpuinfoValue(info, "model")).value_or(0),
                         toNumber(cpuinfoValue(info, "stepping")).value_or(0)};

    const auto kilohertz = [&](const char* name) {
        return numberIn(root, CPU_FOLDER + "cpu0/cpufreq/" + name).value_or(0) / 1000.0;
    };
    const auto firstAboveZero = [](std::initializer_list<double> choices) {
        return *std::find_if(choices.begin(), choices.end() - 1, [](double mhz) { return mhz > 0; });
    };
    const double now = std::strtod(std::string(cpuinfoValue(info, "cpu MHz")).c_str(), nullptr);
    const double base = kilohertz("base_frequency");
    machine.cpuMHz = firstAboveZero({base, kilohertz("cpuinfo_max_freq"), now, tscMHz});
    machine.highMHz = machine.cpuMHz;
    machine.lowMHz = firstAboveZero({kilohertz("cpuinfo_min_freq"), machine.cpuMHz});
}

void readSystem(const Root& root, Machine& machine) {
    utsname names{};
    if (root.isThisMachine()) uname(&names);
    const std::string kernelFolder = "proc/sys/kernel/";
    const std::string release = root.text("etc/os-release");
    machine.host = orElse(root.text(kernelFolder + "hostname"), names.nodename);
    machine.osType = orElse(root.text(kernelFolder + "arch"), names.machine);
    machine.osVersion = orElse(root.text(kernelFolder + "osrelease"), names.release);
    machine.osName =
        orElse(assignedValue(release.empty() ? root.text("usr/lib/os-release") : release, "PRETTY_NAME"),
               orElse(root.text(kernelFolder + "ostype"), names.sysname));
    std::string_view version = machine.osVersion;
    for (unsigned& number : machine.kernel) {
        std::uint64_t value = 0;
        if (!base::takeUnsigned(version, value)) break;
        number = static_cast<unsigned>(value);
        if (version.starts_with('.')) version.remove_prefix(1);
    }
}

}  // namespace

Machine readMachine(const Root& root, double tscMHz) {
    Machine machine;
    readProcessor(root, machine, tscMHz);
    readSystem(root, machine);
    machine.platform = orElse(root.text("sys/class/dmi/id/product_name"), machine.modelName);
    machine.chipset = chipset(root);
    machine.topology = topology(root);
    return machine;
}

std::string processorText(const Machine& machine) {
    const auto& [family, model, stepping] = machine.processor;
    return orElse(machine.modelName, "Unknown processor") + " (family " + std::to_string(family) +
           ", model " + std::to_string(model) + ", stepping " + std::to_string(stepping) + ")";
}

}  // namespace host::record
