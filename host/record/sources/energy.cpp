// Energy that the power domains have used, and the limits of their power.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <optional>
#include <utility>

#include "host/base/text.h"
#include "host/emit/counter_metric.h"
#include "host/record/perf_counter.h"
#include "host/record/sources/file_values.h"
#include "host/record/sources/sources.h"
#include "host/record/sources/unique_names.h"

namespace host::record {

namespace {

const std::string FOLDER = "sys/class/powercap/";
const std::string EVENTS = "sys/bus/event_source/devices/power/";

// No power domain of a machine takes more: what a counter that fell would mean otherwise is no energy.
constexpr double MOST_MICROJOULES_PER_SECOND = 1e10;

// The domains in ascending order. A domain's folder is named after its parent's, "a:0:1" being part of "a:0".
class Domains {
public:
    Domains(SourceContext& context) : m_context(context) {}

    // Calls `act(folder, entity, name)` for each that `isWanted(folder)`.
    void each(auto isWanted, auto act) {
        std::map<std::string, std::pair<emit::Id, std::string>> known;  // folder to entity and name
        UniqueNames names;
        for (const std::string& zone : m_context.root.names(FOLDER)) {
            const std::string path = FOLDER + zone + "/";
            if (!isWanted(path)) continue;
            const auto& [parent, parentName] = known[zone.substr(0, zone.rfind(':'))];
            std::string name = m_context.root.text(path + "name");
            if (!parentName.empty()) name.insert(0, parentName + "/");
            name = names.take(name, zone);
            const emit::Id entity = m_context.define.entity(name, parent);
            act(path, entity, name);
            known[zone] = {entity, name};
        }
    }

private:
    SourceContext& m_context;
};

class EnergySource : public Source {
public:
    explicit EnergySource(SourceContext& context)
        : m_context(context),
          m_metric(context, {.section = {0, "power", "Power Domain Energy", ""},
                             .quantity = {emit::QuantityKind::Energy, "Energy", "uJ"},
                             .rate = {emit::QuantityKind::Power, "Power", "W"},
                             .rateFactor = 1e-6,
                             .keys = {"Power domain"},
                             .mostPerSecond = MOST_MICROJOULES_PER_SECOND}) {}

    bool prepare() override {
        addFiles_i();
        if (m_domains.empty() && m_context.root.isThisMachine()) addEvents_i();
        if (m_domains.empty() && m_events.empty()) {
            if (m_isForbidden)
                m_context.note(
                    "energy counters may not be read: run as root, or let a group read "
                    "sys/class/powercap/*/energy_uj as the udev example does");
            return false;
        }
        m_metric.define();
        return true;
    }

    bool isForbidden() const override { return m_isForbidden; }

    void baseline(std::uint64_t ticks) override {
        m_metric.baseline(ticks);
        read_i([&](Domain& domain, std::uint64_t energy) { m_metric.start(domain.item, energy); },
               [&](std::size_t item, std::uint64_t energy) { m_metric.start(item, energy); });
    }

    void sample(std::uint64_t ticks) override {
        m_metric.begin(ticks);
        read_i(
            [&](Domain& domain, std::uint64_t energy) {
                if (!m_metric.take(domain.item, energy)) warnOfSetBack_i(domain);
            },
            [&](std::size_t item, std::uint64_t energy) { m_metric.take(item, energy); });
        m_metric.end();
    }

    void report(emit::Report& report) override { m_metric.report(report); }

private:
    struct Domain {
        WatchedFile file;
        std::string name;
        std::size_t item;
        bool isReported;  // that its counter was set back
    };
    // A domain that the kernel's performance events report.
    struct Event {
        PerfCounter counter;
        double scale;  // microjoules of a count
        std::size_t item;
    };

    void addFiles_i() {
        std::optional<WatchedFile> file;
        const auto isReadable = [&](const std::string& path) {
            file.emplace(m_context, path + "energy_uj");
            m_isForbidden = m_isForbidden || file->isForbidden();
            return file->isReadable();
        };
        Domains(m_context).each(
            isReadable, [&](const std::string& path, emit::Id entity, const std::string& name) {
                std::uint64_t range = 0;
                SampleFile(m_context.root, path + "max_energy_range_uj").readUnsigned(range);
                const std::size_t item = m_metric.add(entity, name + " energy", {name}, range);
                m_domains.push_back({std::move(*file), name, item, false});
            });
    }

    // Each event on one CPU of every package.
    void addEvents_i() {
        const Root& root = m_context.root;
        std::uint64_t unit = 0;
        const auto cpus = base::parseCpuList(root.text(EVENTS + "cpumask"));
        if (!SampleFile(root, EVENTS + "type").readUnsigned(unit) || !cpus) return;
        for (const char* name : {"pkg", "cores", "ram", "gpu", "psys"}) {
            const std::string event = EVENTS + "events/energy-" + name;
            const double joules = std::strtod(root.text(event + ".scale").c_str(), nullptr);
            const std::string config = root.text(event);  // "event=0x02"
            if (joules <= 0 || !config.starts_with("event=")) continue;
            const std::uint64_t number = std::strtoull(config.c_str() + 6, nullptr, 0);
            for (const unsigned cpu : *cpus) {
                PerfCounter counter(static_cast<std::uint32_t>(unit), number, cpu);
                if (!counter.isOpen()) {
                    m_isForbidden = m_isForbidden || errno == EACCES || errno == EPERM;
                    continue;
                }
                const std::string title =
                    cpus->size() == 1 ? name : std::string(name) + " " + Cpus::name(cpu);
                const std::size_t item =
                    m_metric.add(m_context.define.entity(title), title + " energy", {title});
                m_events.push_back({std::move(counter), joules * 1e6, item});
            }
        }
    }

    void read_i(auto withDomain, auto withEvent) {
        std::uint64_t energy = 0;
        for (Domain& domain : m_domains)
            if (domain.file.readUnsigned(energy)) withDomain(domain, energy);
        for (const Event& event : m_events)
            if (event.counter.read(energy))
                withEvent(event.item,
                          // NOLINTNEXTLINE(bugprone-incorrect-roundings): one beyond 2^52 does not matter
                          static_cast<std::uint64_t>(static_cast<double>(energy) * event.scale + 0.5));
    }

    void warnOfSetBack_i(Domain& domain) {
        if (!std::exchange(domain.isReported, true))
            m_context.note("the energy counter of " + domain.name +
                           " was set back, not gone round; it is counted from zero");
    }

    SourceContext& m_context;
    emit::CounterMetric m_metric;
    std::vector<Domain> m_domains;
    std::vector<Event> m_events;
    bool m_isForbidden = false;
};

}  // namespace

SourcePtr makeEnergySource(SourceContext& context) {
    return std::make_unique<EnergySource>(context);
}

SourcePtr makePowerLimitSource(SourceContext& context) {
    emit::ValueSpec spec{.section = {0, "power", "Power Domain Limit", ""},
                         .quantity = {emit::QuantityKind::Power, "Power Limit", "W"},
                         .what = "Limit",
                         .of = "Power domain",
                         .decimals = 3};
    auto source = std::make_unique<FileValueSource>(context, std::move(spec), 1e6);
    constexpr const char* limit = "_power_limit_uw";
    const auto constraints = [&](const std::string& path) {
        std::vector<std::string> names = context.root.names(path, "constraint_");
        std::erase_if(names, [](const std::string& name) { return !name.ends_with(limit); });
        return names;
    };
    Domains(context).each([&](const std::string& path) { return !context.root.text(path + "name").empty(); },
                          [&](const std::string& path, emit::Id entity, const std::string& domain) {
                              const std::string ofDomain = domain + " ";
                              for (const std::string& name : constraints(path)) {
                                  const std::string front = name.substr(0, name.size() - std::strlen(limit));
                                  WatchedFile file(context, path + name);
                                  if (!file.isReadable()) continue;
                                  const std::string title = context.root.text(path + front + "_name");
                                  const std::string what = title.empty() ? front : title;
                                  source->add(std::move(file), entity, ofDomain + what, what);
                              }
                          });
    return source;
}

}  // namespace host::record
