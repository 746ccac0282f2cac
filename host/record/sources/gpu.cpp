// Graphics processors: how busy and how fast they are, their sleep, and what each process has them do.
#include <algorithm>
#include <deque>
#include <map>
#include <set>

#include "host/base/text.h"
#include "host/emit/residency_metric.h"
#include "host/record/process_stat.h"
#include "host/record/sources/counters.h"
#include "host/record/sources/file_values.h"
#include "host/record/sources/sources.h"

namespace host::record {

namespace {

const std::string FOLDER = "sys/class/drm/";

// "card0" and its like, without the connectors "card0-HDMI-A-1".
std::vector<std::string> cards(const Root& root) {
    std::vector<std::string> names = root.names(FOLDER, "card");
    std::erase_if(names, [](const std::string& name) { return name.find('-') != std::string::npos; });
    return names;
}

emit::ValueSpec valueSpec(const char* metric, emit::QuantityKind kind, const char* quantity,
                          const char* units) {
    return {.section = {0, "gpu", metric, ""},
            .quantity = {kind, quantity, units},
            .what = quantity,
            .of = "GPU",
            .decimals = 1};
}

// A value that drivers give in files of different names and units: the first that is there.
class CardValueSource : public Source {
public:
    CardValueSource(SourceContext& context, emit::ValueSpec spec,
                    const std::vector<std::pair<const char*, double>>& choices)
        : m_context(context), m_metric(context, std::move(spec)), m_choices(choices) {}

    bool prepare() override {
        for (const std::string& card : cards(m_context.root)) add_i(card);
        if (!m_cards.empty()) m_metric.define();
        return !m_cards.empty();
    }

    void baseline(std::uint64_t ticks) override { m_metric.baseline(ticks); }

    void sample(std::uint64_t ticks) override {
        m_metric.begin(ticks);
        for (Card& card : m_cards) {
            std::uint64_t number = 0;
            if (card.file.readUnsigned(number))
                m_metric.takeReal(card.item, static_cast<double>(number) / card.divisor);
        }
        m_metric.end();
    }

    void report(emit::Report& report) override { m_metric.report(report); }

private:
    struct Card {
        WatchedFile file;
        double divisor;
        std::size_t item;
    };

    void add_i(const std::string& card) {
        for (const auto& [name, divisor] : m_choices) {
            const std::string path = find_i(FOLDER + card + "/", name);
            WatchedFile file(m_context, path);
            if (!file.isReadable()) continue;
            const std::size_t item = m_metric.add(m_context.define.entity(card), card);
            m_cards.push_back({std::move(file), divisor, item});
            return;
        }
    }

    // Puts the first hardware monitor in the place of "*".
    std::string find_i(const std::string& folder, const std::string& name) const {
        const std::size_t star = name.find('*');
        if (star == std::string::npos) return folder + name;
        const std::string front = folder + name.substr(0, name.rfind('/', star) + 1);
        const std::vector<std::string> monitors = m_context.root.names(front, "hwmon");
        return monitors.empty() ? front : front + monitors.front() + name.substr(star + 1);
    }

    SourceContext& m_context;
    emit::ValueMetric m_metric;
    std::vector<std::pair<const char*, double>> m_choices;
    std::vector<Card> m_cards;
};

// Time in the render engine's deepest sleep.
class Rc6Source : public Source {
public:
    explicit Rc6Source(SourceContext& context)
        : m_context(context),
          m_metric(context, {0, "gpu", "GPU RC6", ""}, "GPU", context.ticksPerUsec * 1000.0) {}

    bool prepare() override {
        const std::vector<std::size_t> states{m_metric.state("RC6")};
        for (const std::string& card : cards(m_context.root)) {
            for (const char* name : {"/gt/gt0/rc6_residency_ms", "/power/rc6_residency_ms"}) {
                WatchedFile file(m_context, FOLDER + card + name);
                if (!file.isReadable()) continue;
                const std::size_t item = m_metric.add(m_context.define.entity(card), card, states);
                m_cards.emplace_back(std::move(file), item);
                break;
            }
        }
        if (!m_cards.empty()) m_metric.define();
        return !m_cards.empty();
    }

    void baseline(std::uint64_t ticks) override {
        m_metric.baseline(ticks);
        read_i([&](std::size_t item, const auto& time) { m_metric.start(item, time); });
    }

    void sample(std::uint64_t ticks) override {
        m_metric.begin(ticks);
        read_i([&](std::size_t item, const auto& time) { m_metric.take(item, time); });
        m_metric.end();
    }

    void report(emit::Report& report) override { m_metric.report(report); }

private:
    void read_i(auto withTime) {
        std::array<std::uint64_t, 1> time{};
        for (auto& [file, item] : m_cards)
            if (file.readUnsigned(time[0])) withTime(item, time);
    }

    SourceContext& m_context;
    emit::ResidencyMetric m_metric;
    std::vector<std::pair<WatchedFile, std::size_t>> m_cards;
};

// Engine times of the clients of the drivers, which the kernel gives for every descriptor that a process
// holds. Only processes that have been found to hold some are read at every sample; the others are looked
// through in turn, those that are new first.
class EngineSource : public Source {
public:
    explicit EngineSource(SourceContext& context)
        : m_context(context),
          m_metric(context, counterSpec("gpu", "GPU Engine Time", "usec", {"Process", "Engine"})) {}

    bool prepare() override {
        if (m_context.root.names(FOLDER).empty()) return false;
        list_i();
        for (const auto& entry : m_processes) look_i(entry.first);
        m_waiting.clear();
        bool isThere = false;
        for (const auto& [pid, process] : m_processes) isThere = isThere || !process.clients.empty();
        if (isThere || m_context.root.isThisMachine()) {
            m_metric.define();
            return true;
        }
        return false;
    }

    void baseline(std::uint64_t ticks) override {
        m_metric.baseline(ticks);
        each_i([&](std::size_t item, std::uint64_t usec) { m_metric.start(item, usec); });
    }

    void sample(std::uint64_t ticks) override {
        list_i();
        search_i();
        m_metric.begin(ticks);
        each_i([&](std::size_t item, std::uint64_t usec) { m_metric.take(item, usec); });
        m_metric.end();
    }

    void report(emit::Report& report) override { m_metric.report(report); }

private:
    static constexpr std::size_t MOST_SEARCHES = 16;  // of processes in one sample
    static constexpr std::uint64_t KEPT = 5;          // samples for which a client that is not seen is known

    struct Item {
        std::size_t index = 0;
        std::uint64_t time = 0;  // nsec
    };
    struct Process {
        std::vector<std::string> clients;  // files that report one
        emit::Id entity = 0;
        std::string name;
        std::map<std::string, Item> items;  // by engine
        std::uint64_t seen = 0;
    };
    struct Client {
        std::map<std::string, std::uint64_t> times;  // nsec of each engine, as last read
        std::uint64_t seen = 0;
    };

    void list_i() {
        ++m_listing;
        m_folder.each(m_context.root, [&](std::uint64_t pid, std::uint64_t) {
            Process& process = m_processes[pid];
            if (process.seen == 0) m_waiting.push_front(pid);
            process.seen = m_listing;
        });
        std::erase_if(m_processes, [&](const auto& entry) { return entry.second.seen != m_listing; });
    }

    void search_i() {
        for (std::size_t i = 0; i < MOST_SEARCHES; ++i) {
            if (m_waiting.empty())
                for (const auto& entry : m_processes) m_waiting.push_back(entry.first);
            if (m_waiting.empty()) return;
            look_i(m_waiting.front());
            m_waiting.pop_front();
        }
    }

    void look_i(std::uint64_t pid) {
        const auto found = m_processes.find(pid);
        if (found == m_processes.end()) return;
        const std::string folder = "proc/" + std::to_string(pid);
        const std::string targets = folder + "/fd/";
        const std::string accounts = folder + "/fdinfo/";
        found->second.clients.clear();
        for (const std::string& number : m_context.root.names(folder + "/fdinfo")) {
            // What the descriptor is open for costs less to read than its details.
            const std::string target = m_context.root.link(targets + number);
            if (!target.empty() && !target.starts_with("/dev/dri/")) continue;
            const std::string path = accounts + number;
            if (m_context.root.text(path).find("drm-client-id") != std::string::npos)
                found->second.clients.push_back(path);
        }
    }

    // The time of each engine for each process, since its clients were first seen. A client counts once for
    // all descriptors that share it, and may go from one process to another.
    void each_i(auto withTime) {
        std::set<std::string> counted;
        for (auto& [pid, process] : m_processes) {
            std::set<std::string> engines;
            for (const std::string& path : process.clients) {
                const std::string text = m_context.root.text(path);
                std::string client;
                std::map<std::string, std::uint64_t> times;
                readClient_i(text, client, times);
                if (times.empty() || !counted.insert(client).second) continue;
                for (const auto& [engine, rise] : rises_i(m_clients[client], times)) {
                    item_i(pid, process, engine).time += rise;
                    engines.insert(engine);
                }
            }
            for (const std::string& engine : engines) {
                const Item& item = process.items.at(engine);
                withTime(item.index, item.time / 1000);
            }
        }
        std::erase_if(m_clients, [&](const auto& entry) { return entry.second.seen + KEPT < m_listing; });
    }

    // By how much a client's times rose since they were read last; they become those that were.
    std::map<std::string, std::uint64_t> rises_i(Client& client,
                                                 const std::map<std::string, std::uint64_t>& times) const {
        std::map<std::string, std::uint64_t> rises;
        client.seen = m_listing;
        for (const auto& [engine, time] : times) {
            std::uint64_t& before = client.times.try_emplace(engine, time).first->second;
            rises[engine] = time > before ? time - before : 0;
            before = time;
        }
        return rises;
    }

    static void readClient_i(std::string_view text, std::string& client,
                             std::map<std::string, std::uint64_t>& times) {
        constexpr std::string_view engine = "drm-engine-";
        std::string_view line;
        while (base::takeLine(text, line)) {
            const std::size_t colon = line.find(':');
            if (colon == std::string_view::npos) continue;
            const std::string_view key = line.substr(0, colon);
            std::string_view value = base::trimmed(line.substr(colon + 1));
            if (key == "drm-pdev" || key == "drm-client-id") client += " " + std::string(value);
            std::uint64_t time = 0;
            if (key.starts_with(engine) && base::takeUnsigned(value, time) && base::trimmed(value) == "ns")
                times[std::string(key.substr(engine.size()))] = time;
        }
    }

    Item& item_i(std::uint64_t pid, Process& process, const std::string& engine) {
        if (process.entity == 0) {
            ProcessStat stat;
            const SampleFile file(m_context.root, "proc/" + std::to_string(pid) + "/stat");
            const bool isRead = file.isOpen() && stat.parse(file.read(m_buffer));
            process.name = (isRead ? std::string(stat.name) : "") + " (" + std::to_string(pid) + ")";
            process.entity = m_context.define.entity(process.name);
        }
        const auto [item, isNew] = process.items.try_emplace(engine);
        if (isNew) item->second.index = m_metric.add(process.entity, engine, {process.name, engine});
        return item->second;
    }

    SourceContext& m_context;
    emit::CounterMetric m_metric;
    ProcessFolder m_folder;
    std::map<std::uint64_t, Process> m_processes;
    std::map<std::string, Client> m_clients;  // by device and number
    std::deque<std::uint64_t> m_waiting;      // to be looked through
    std::uint64_t m_listing = 0;
    std::vector<char> m_buffer;
};

}  // namespace

SourcePtr makeGpuBusySource(SourceContext& context) {
    return std::make_unique<CardValueSource>(
        context, valueSpec("GPU Busy", emit::QuantityKind::Share, "Busy", "%"),
        std::vector<std::pair<const char*, double>>{{"device/gpu_busy_percent", 1.0}});
}

SourcePtr makeGpuFrequencySource(SourceContext& context) {
    return std::make_unique<CardValueSource>(
        context, valueSpec("GPU Frequency", emit::QuantityKind::Frequency, "Frequency", "MHz"),
        std::vector<std::pair<const char*, double>>{{"gt/gt0/rps_act_freq_mhz", 1.0},
                                                    {"gt_act_freq_mhz", 1.0},
                                                    {"gt_cur_freq_mhz", 1.0},
                                                    {"device/hwmon/hwmon*/freq1_input", 1e6}});
}

SourcePtr makeGpuRc6Source(SourceContext& context) {
    return std::make_unique<Rc6Source>(context);
}

SourcePtr makeGpuEngineSource(SourceContext& context) {
    return std::make_unique<EngineSource>(context);
}

}  // namespace host::record
