// The frequency governor of each CPU: each stay with a governor, delivered when it ends.
#include <map>
#include <utility>

#include "host/base/text.h"
#include "host/emit/transition_metric.h"
#include "host/record/sources/sources.h"
#include "host/record/watched_file.h"

namespace host::record {

namespace {

class GovernorSource : public Source {
public:
    explicit GovernorSource(SourceContext& context)
        : m_context(context),
          m_metric(context, {0, "frequency", "CPU Frequency Governor", ""}, "Governor", "CPU") {}

    bool prepare() override {
        for (const unsigned number : m_context.cpus.numbers()) addCpu_i(number);
        if (!m_policies.empty()) m_metric.define();
        return !m_policies.empty();
    }

    void baseline(std::uint64_t ticks) override { sample(ticks); }

    void sample(std::uint64_t ticks) override {
        for (Policy& policy : m_policies) {
            std::string_view text;
            std::optional<std::string_view> name;
            if (policy.governor.readText(text, m_buffer)) name = text;
            for (const std::size_t cpu : policy.cpus) m_metric.enter(cpu, ticks, name);
        }
    }

    void restart(std::uint64_t ticks) override {
        for (const Policy& policy : m_policies)
            for (const std::size_t cpu : policy.cpus) m_metric.forget(cpu);
        sample(ticks);
    }

    void finish(std::uint64_t ticks) override { m_metric.finish(ticks); }
    void report(emit::Report& report) override { m_metric.report(report); }

private:
    // CPUs that share a governor, and the file that names it.
    struct Policy {
        WatchedFile governor;
        std::vector<std::size_t> cpus;
    };

    void addCpu_i(unsigned number) {
        const std::string folder = "sys/devices/system/cpu/cpu" + std::to_string(number) + "/cpufreq";
        const std::string target = m_context.root.link(folder);
        const auto [known, isNew] =
            m_policyOf.try_emplace(target.empty() ? folder : target, m_policies.size());
        if (isNew) {
            Policy policy{WatchedFile(m_context, folder + "/scaling_governor", number), {}};
            if (!policy.governor.isReadable()) {
                m_policyOf.erase(known);
                return;
            }
            m_policies.push_back(std::move(policy));
            addStates_i(folder);
        }
        m_policies[known->second].cpus.push_back(
            m_metric.add(m_context.cpus.entity(number), Cpus::name(number)));
    }

    void addStates_i(const std::string& folder) {
        const std::string choices = m_context.root.text(folder + "/scaling_available_governors");
        for (std::string_view left = base::trimmed(choices); !left.empty(); left = base::trimmed(left)) {
            const std::string_view name = left.substr(0, left.find(' '));
            m_metric.state(name);
            left.remove_prefix(name.size());
        }
    }

    SourceContext& m_context;
    emit::TransitionMetric m_metric;
    std::vector<char> m_buffer;
    std::vector<Policy> m_policies;
    std::map<std::string, std::size_t> m_policyOf;  // by the folder that the CPUs share
};

}  // namespace

SourcePtr makeGovernorSource(SourceContext& context) {
    return std::make_unique<GovernorSource>(context);
}

}  // namespace host::record
