// Idle states of the CPUs: time in each, and how often it was entered.
#include <array>

#include "host/emit/counter_metric.h"
#include "host/emit/residency_metric.h"
#include "host/record/sources/sources.h"
#include "host/record/watched_file.h"

namespace host::record {

namespace {

constexpr std::size_t MOST_STATES = 16;
constexpr const char* NOTE =
    "As the operating system asked for the states. A stay is counted when it ends, so that one sample can "
    "hold "
    "more than its own length and a stay that lasts to the end is missing.";

class IdleStateSource : public Source {
public:
    explicit IdleStateSource(SourceContext& context)
        : m_context(context),
          m_residency(context, {0, "idle", "OS Core C-States", NOTE}, "CPU", context.ticksPerUsec),
          m_entries(context, {.section = {0, "idle", "OS Core C-State Entries", ""},
                              .quantity = {emit::QuantityKind::Count, "Idle State Entries", "entries"},
                              .rate = {emit::QuantityKind::Rate, "Idle State Entry Rate", "entries/s"},
                              .rateFactor = 1.0,
                              .keys = {"CPU", "C-State"}}) {}

    bool prepare() override {
        for (const unsigned number : m_context.cpus.numbers()) addCpu_i(number);
        if (m_cpus.empty()) return false;
        m_residency.define();
        m_entries.define();
        return true;
    }

    void baseline(std::uint64_t ticks) override {
        m_residency.baseline(ticks);
        m_entries.baseline(ticks);
        read_i([&](const IdleCpu& cpu, const auto& times) { m_residency.start(cpu.item, times); },
               [&](const State& state, std::uint64_t entries) { m_entries.start(state.item, entries); });
    }

    void sample(std::uint64_t ticks) override {
        m_residency.begin(ticks);
        m_entries.begin(ticks);
        read_i([&](const IdleCpu& cpu, const auto& times) { m_residency.take(cpu.item, times); },
               [&](const State& state, std::uint64_t entries) { m_entries.take(state.item, entries); });
        m_residency.end();
        m_entries.end();
    }

    void report(emit::Report& report) override {
        m_residency.report(report);
        m_entries.report(report);
    }

private:
    struct State {
        WatchedFile time;  // usec
        WatchedFile entries;
        std::size_t item;            // among the entry counters
        std::uint64_t lastTime = 0;  // as last read, with the entries
        std::uint64_t lastEntries = 0;
        bool known = false;
    };
    struct IdleCpu {
        std::size_t item;
        std::vector<State> states;
    };

    void addCpu_i(unsigned number) {
        const std::string folder = "sys/devices/system/cpu/cpu" + std::to_string(number) + "/cpuidle/";
        const std::string cpuName = Cpus::name(number);
        const std::string ofCpu = cpuName + " ";
        const emit::Id entity = m_context.cpus.entity(number);
        IdleCpu cpu{0, {}};
        std::vector<std::size_t> states;
        for (const std::string& name : m_context.root.names(folder, "state")) {
            const std::string path = folder + name;
            State state{
                {m_context, path + "/time", number}, {m_context, path + "/usage", number}, 0, 0, 0, false};
            if (!state.time.isReadable() || !state.entries.isReadable() || states.size() == MOST_STATES)
                continue;
            std::string title = m_context.root.text(path + "/name");
            if (title.empty()) title = name;
            state.item = m_entries.add(entity, ofCpu + title, {cpuName, title});
            states.push_back(m_residency.state(title));
            cpu.states.push_back(std::move(state));
        }
        if (states.empty()) return;
        cpu.item = m_residency.add(entity, cpuName, states);
        m_cpus.push_back(std::move(cpu));
    }

    // Residencies are only of use when all states of a CPU can be read.
    void read_i(auto withTimes, auto withEntries) {
        std::array<std::uint64_t, MOST_STATES> times{};
        for (IdleCpu& cpu : m_cpus) {
            bool complete = true;
            for (std::size_t i = 0; i < cpu.states.size(); ++i) {
                State& state = cpu.states[i];
                const bool isRead = state.time.readUnsigned(times[i]);
                complete = complete && isRead;
                if (isRead && readEntries_i(state, times[i])) withEntries(state, state.lastEntries);
            }
            if (complete) withTimes(cpu, times);
        }
    }

    // A state that gained no time was not entered: the second file need not be read.
    static bool readEntries_i(State& state, std::uint64_t time) {
        if (state.known && time == state.lastTime) return true;
        state.lastTime = time;
        state.known = state.entries.readUnsigned(state.lastEntries);
        return state.known;
    }

    SourceContext& m_context;
    emit::ResidencyMetric m_residency;
    emit::CounterMetric m_entries;
    std::vector<IdleCpu> m_cpus;
};

}  // namespace

SourcePtr makeIdleStateSource(SourceContext& context) {
    return std::make_unique<IdleStateSource>(context);
}

}  // namespace host::record
