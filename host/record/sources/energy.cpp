// Energy that the power domains have used.
#include <map>
#include <utility>

#include "host/emit/counter_metric.h"
#include "host/record/sources/sources.h"
#include "host/record/sources/unique_names.h"
#include "host/record/watched_file.h"

namespace host::record {

namespace {

// No power domain of a machine takes more: what a counter that fell would mean otherwise is no energy.
constexpr double MOST_MICROJOULES_PER_SECOND = 1e10;

class EnergySource : public Source {
public:
    explicit EnergySource(SourceContext& context)
        : m_context(context),
          m_metric(context, {.chapter = {0, "power", "Power Domain Energy", ""},
                             .quantity = {emit::QuantityKind::Energy, "Energy", "uJ"},
                             .rate = {emit::QuantityKind::Power, "Power", "W"},
                             .rateFactor = 1e-6,
                             .keys = {"Power domain"},
                             .mostPerSecond = MOST_MICROJOULES_PER_SECOND}) {}

    bool prepare() override {
        // A domain's folder is named after its parent's, "a:0:1" being part of "a:0".
        const std::string folder = "sys/class/powercap/";
        std::map<std::string, std::pair<emit::Id, std::string>> domains;  // folder to entity and name
        UniqueNames names;
        for (const std::string& zone : m_context.root.names(folder)) {
            WatchedFile file(m_context, folder + zone + "/energy_uj");
            if (file.isForbidden()) tellForbidden_i();
            if (!file.isReadable()) continue;
            const auto& [parent, parentName] = domains[zone.substr(0, zone.rfind(':'))];
            std::string name = m_context.root.text(folder + zone + "/name");
            if (!parentName.empty()) name = parentName + "/" + name;
            name = names.take(name, zone);
            const emit::Id entity = m_context.define.entity(name, parent);
            std::uint64_t range = 0;
            SampleFile(m_context.root, folder + zone + "/max_energy_range_uj").readUnsigned(range);
            m_domains.push_back(
                {std::move(file), name, m_metric.add(entity, name + " energy", {name}, range), false});
            domains[zone] = {entity, name};
        }
        if (!m_domains.empty()) m_metric.define();
        return !m_domains.empty();
    }

    void baseline(std::uint64_t ticks) override {
        m_metric.baseline(ticks);
        read_i([&](Domain& domain, std::uint64_t energy) { m_metric.start(domain.item, energy); });
    }

    void sample(std::uint64_t ticks) override {
        m_metric.begin(ticks);
        read_i([&](Domain& domain, std::uint64_t energy) {
            if (!m_metric.take(domain.item, energy)) tellSetBack_i(domain);
        });
        m_metric.end();
    }

    void report(emit::Report& report) override { m_metric.report(report); }
    std::string subject() const override { return "power domains"; }

private:
    struct Domain {
        WatchedFile file;
        std::string name;
        std::size_t item;
        bool isTold;  // that its counter was set back
    };

    void read_i(auto withEnergy) {
        for (Domain& domain : m_domains) {
            std::uint64_t energy = 0;
            if (domain.file.readUnsigned(energy)) withEnergy(domain, energy);
        }
    }

    void tellForbidden_i() {
        if (!std::exchange(m_isForbiddenTold, true))
            m_context.tell(
                "energy counters may not be read: run as root, or let a group read "
                "sys/class/powercap/*/energy_uj as the udev example does");
    }

    void tellSetBack_i(Domain& domain) {
        if (!std::exchange(domain.isTold, true))
            m_context.tell("the energy counter of " + domain.name +
                           " was set back, not gone round; it is counted from zero");
    }

    SourceContext& m_context;
    emit::CounterMetric m_metric;
    std::vector<Domain> m_domains;
    bool m_isForbiddenTold = false;
};

}  // namespace

SourcePtr makeEnergySource(SourceContext& context) {
    return std::make_unique<EnergySource>(context);
}

}  // namespace host::record
