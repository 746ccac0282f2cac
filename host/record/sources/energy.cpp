// Energy that the power domains have used.
#include <map>

#include "host/emit/counter_metric.h"
#include "host/record/sources/sources.h"
#include "host/record/sources/unique_names.h"
#include "host/record/watched_file.h"

namespace host::record {

namespace {

class EnergySource : public Source {
public:
    explicit EnergySource(SourceContext& context)
        : m_context(context),
          m_metric(context, {.chapter = {0, "power", "Power Domain Energy", ""},
                             .quantity = {emit::QuantityKind::Energy, "Energy", "uJ"},
                             .rate = {emit::QuantityKind::Power, "Power", "W"},
                             .rateFactor = 1e-6,
                             .keys = {"Power domain"}}) {}

    bool prepare() override {
        // A domain's folder is named after its parent's, "a:0:1" being part of "a:0".
        const std::string folder = "sys/class/powercap/";
        std::map<std::string, std::pair<emit::Id, std::string>> domains;  // folder to entity and name
        UniqueNames names;
        for (const std::string& zone : m_context.root.names(folder)) {
            WatchedFile file(m_context, folder + zone + "/energy_uj");
            if (!file.isReadable()) continue;
            const auto& [parent, parentName] = domains[zone.substr(0, zone.rfind(':'))];
            std::string name = m_context.root.text(folder + zone + "/name");
            if (!parentName.empty()) name = parentName + "/" + name;
            name = names.take(name, zone);
            const emit::Id entity = m_context.define.entity(name, parent);
            std::uint64_t range = 0;
            SampleFile(m_context.root, folder + zone + "/max_energy_range_uj").readUnsigned(range);
            m_domains.emplace_back(std::move(file), m_metric.add(entity, name + " energy", {name}, range));
            domains[zone] = {entity, name};
        }
        if (!m_domains.empty()) m_metric.define();
        return !m_domains.empty();
    }

    void baseline(std::uint64_t ticks) override {
        m_metric.baseline(ticks);
        read_i([&](std::size_t item, std::uint64_t energy) { m_metric.start(item, energy); });
    }

    void sample(std::uint64_t ticks) override {
        m_metric.begin(ticks);
        read_i([&](std::size_t item, std::uint64_t energy) { m_metric.take(item, energy); });
        m_metric.end();
    }

    void report(emit::Report& report) override { m_metric.report(report); }
    std::string subject() const override { return "power domains"; }

private:
    void read_i(auto withEnergy) {
        for (auto& [file, item] : m_domains) {
            std::uint64_t energy = 0;
            if (file.readUnsigned(energy)) withEnergy(item, energy);
        }
    }

    SourceContext& m_context;
    emit::CounterMetric m_metric;
    std::vector<std::pair<WatchedFile, std::size_t>> m_domains;
};

}  // namespace

SourcePtr makeEnergySource(SourceContext& context) {
    return std::make_unique<EnergySource>(context);
}

}  // namespace host::record
