#include "host/record/trace/package_energy.h"

#include <cstdlib>
#include <string>
#include <utility>

#include "host/base/text.h"

namespace host::record {

namespace {

const std::string ZONES = "sys/class/powercap/";
const std::string EVENTS = "sys/bus/event_source/devices/power/";

}  // namespace

PackageEnergy::PackageEnergy(const Root& root) {
    addFiles_i(root);
    if (m_files.empty() && root.isThisMachine()) addCounters_i(root);
}

// A package is a zone of its own; "intel-rapl:0:1" would be a part of one.
void PackageEnergy::addFiles_i(const Root& root) {
    for (const std::string& zone : root.names(ZONES)) {
        const std::string path = ZONES + zone + "/";
        if (!root.text(path + "name").starts_with("package-")) continue;
        File file{SampleFile(root, path + "energy_uj"), 0, 0};
        SampleFile(root, path + "max_energy_range_uj").readUnsigned(file.range);
        std::uint64_t energy = 0;
        if (!file.energy.readUnsigned(energy)) {
            m_files.clear();
            return;
        }
        m_files.push_back(std::move(file));
    }
}

void PackageEnergy::addCounters_i(const Root& root) {
    std::uint64_t unit = 0;
    const auto cpus = base::parseCpuList(root.text(EVENTS + "cpumask"));
    const std::string config = root.text(EVENTS + "events/energy-pkg");  // "event=0x02"
    const double joules = std::strtod(root.text(EVENTS + "events/energy-pkg.scale").c_str(), nullptr);
    if (!SampleFile(root, EVENTS + "type").readUnsigned(unit) || !cpus || joules <= 0) return;
    if (!config.starts_with("event=")) return;
    for (const unsigned cpu : *cpus) {
        PerfCounter counter(static_cast<std::uint32_t>(unit), std::strtoull(config.c_str() + 6, nullptr, 0),
                            cpu);
        if (counter.isOpen()) m_counters.push_back({std::move(counter), joules * 1e6, 0});
    }
}

std::optional<std::uint64_t> PackageEnergy::take() {
    std::uint64_t rise = 0;
    bool isGood = isMeasured();
    for (File& file : m_files) {
        std::uint64_t now = 0;
        if (!file.energy.readUnsigned(now)) return std::nullopt;
        // One that fell has gone round, if that step is less than half of its range.
        const std::uint64_t step = now >= file.last ? now - file.last : now + file.range - file.last;
        if (now < file.last && (file.range <= file.last || step > file.range / 2)) isGood = false;
        rise += step;
        file.last = now;
    }
    for (Counter& counter : m_counters) {
        std::uint64_t now = 0;
        if (!counter.counter.read(now)) return std::nullopt;
        rise += static_cast<std::uint64_t>(static_cast<double>(now - counter.last) * counter.scale);
        counter.last = now;
    }
    if (!std::exchange(m_isBegun, true) || !isGood) return std::nullopt;
    return rise;
}

}  // namespace host::record
