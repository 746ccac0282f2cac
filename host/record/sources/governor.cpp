// The frequency governor of each CPU: each stay with a governor, delivered when it ends.
#include <algorithm>
#include <map>
#include <utility>

#include "host/base/text.h"
#include "host/emit/metric_line.h"
#include "host/emit/residency_table.h"
#include "host/record/sources/sources.h"
#include "host/record/watched_file.h"

namespace host::record {

namespace {

class GovernorSource : public Source {
public:
    explicit GovernorSource(SourceContext& context) : m_context(context), m_line(context) {}

    bool prepare() override {
        emit::MetricDefinition metric{.name = m_chapter.name, .group = m_chapter.feature};
        for (const unsigned number : m_context.cpus.numbers()) addCpu_i(number);
        if (m_policies.empty()) return false;
        metric.type = emit::MetricType::TracedTransition;
        metric.quantity = m_context.define.time();
        metric.value = m_context.define.handle("Governor");
        metric.state = m_context.define.handle("State");
        metric.entity = m_context.define.handle("CPU");
        for (const State& state : m_states) metric.legend.push_back(state.descriptor);
        for (const Policy& policy : m_policies)
            for (const GovernedCpu& cpu : policy.cpus) metric.entities.push_back(cpu.entity);
        m_chapter.metric = m_context.define.metric(metric);
        return true;
    }

    void baseline(std::uint64_t ticks) override {
        for (Policy& policy : m_policies) {
            std::string_view name;
            policy.since = ticks;
            policy.state = policy.governor.readText(name, m_buffer) ? state_i(name) : NO_STATE;
        }
    }

    void sample(std::uint64_t ticks) override {
        for (Policy& policy : m_policies) {
            std::string_view name;
            if (!policy.governor.readText(name, m_buffer)) {
                leave_i(policy, ticks, NO_STATE);
            } else if (policy.state == NO_STATE || m_states[policy.state].name != name) {
                leave_i(policy, ticks, state_i(name));
            }
        }
    }

    void finish(std::uint64_t ticks) override {
        for (Policy& policy : m_policies) leave_i(policy, ticks, NO_STATE);
    }

    void report(emit::Report& report) override {
        std::vector<std::string> names;
        std::vector<emit::ResidencyRow> rows;
        for (const State& state : m_states) names.push_back(state.name);
        for (Policy& policy : m_policies) {
            policy.ticks.resize(names.size());
            for (const GovernedCpu& cpu : policy.cpus)
                rows.push_back({cpu.name, policy.ticks, policy.observed});
        }
        std::sort(rows.begin(), rows.end(), [](const emit::ResidencyRow& a, const emit::ResidencyRow& b) {
            return std::pair(a.name.size(), a.name) < std::pair(b.name.size(), b.name);
        });
        report.chapter(m_chapter);
        emit::writeResidencyTable(report, m_chapter.name, "CPU", names, rows, m_context.ticksPerUsec);
    }

    std::string subject() const override { return "frequency governors"; }

private:
    struct State {
        std::string name;
        emit::Id descriptor;
    };
    struct GovernedCpu {
        emit::Id entity;
        std::string name;
    };
    // CPUs that share a governor, and the file that names it.
    struct Policy {
        WatchedFile governor;
        std::vector<GovernedCpu> cpus;
        std::size_t state = NO_STATE;
        std::uint64_t since = 0;           // ticks at which that state was first seen
        std::vector<std::uint64_t> ticks;  // in each state
        std::uint64_t observed = 0;
    };
    static constexpr std::size_t NO_STATE = ~std::size_t{0};

    void addCpu_i(unsigned number) {
        const std::string folder = "sys/devices/system/cpu/cpu" + std::to_string(number) + "/cpufreq";
        const GovernedCpu cpu{m_context.cpus.entity(number), Cpus::name(number)};
        const std::string target = m_context.root.link(folder);
        const std::string key = target.empty() ? folder : target;
        if (const auto known = m_policyOf.find(key); known != m_policyOf.end()) {
            m_policies[known->second].cpus.push_back(cpu);
            return;
        }
        Policy policy{
            WatchedFile(m_context, folder + "/scaling_governor", number), {cpu}, NO_STATE, 0, {}, 0};
        if (!policy.governor.isReadable()) return;
        m_policyOf[key] = m_policies.size();
        m_policies.push_back(std::move(policy));
        const std::string choices = m_context.root.text(folder + "/scaling_available_governors");
        for (std::string_view left = base::trimmed(choices); !left.empty(); left = base::trimmed(left)) {
            const std::string_view name = left.substr(0, left.find(' '));
            state_i(name);
            left.remove_prefix(name.size());
        }
    }

    // Index of the governor's state, which is defined at its first use.
    std::size_t state_i(std::string_view name) {
        for (std::size_t i = 0; i < m_states.size(); ++i)
            if (m_states[i].name == name) return i;
        m_states.push_back({std::string(name), m_context.define.descriptor(name)});
        return m_states.size() - 1;
    }

    // Delivers the stay that ends now, one message for each CPU, and begins the next.
    void leave_i(Policy& policy, std::uint64_t ticks, std::size_t next) {
        const std::uint64_t duration = ticks - policy.since;
        if (policy.state != NO_STATE && duration > 0) {
            policy.ticks.resize(m_states.size());
            policy.ticks[policy.state] += duration;
            policy.observed += duration;
            const emit::Id descriptor = m_states[policy.state].descriptor;
            for (const GovernedCpu& cpu : policy.cpus) {
                m_line.begin(m_chapter.metric, ticks);
                m_line.handle(emit::elementHead(cpu.entity, descriptor), duration, descriptor);
                m_line.end();
            }
        }
        policy.state = next;
        policy.since = ticks;
    }

    SourceContext& m_context;
    emit::Chapter m_chapter{0, "frequency", "CPU Frequency Governor", ""};
    emit::MetricLine m_line;
    std::vector<char> m_buffer;
    std::vector<State> m_states;
    std::vector<Policy> m_policies;
    std::map<std::string, std::size_t> m_policyOf;  // by the folder that the CPUs share
};

}  // namespace

SourcePtr makeGovernorSource(SourceContext& context) {
    return std::make_unique<GovernorSource>(context);
}

}  // namespace host::record
