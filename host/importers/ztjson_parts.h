#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

#include "host/importers/handle_lines.h"
#include "host/importers/importer.h"
#include "host/importers/json_pull.h"
#include "host/importers/sample_line.h"
#include "host/importers/system_line.h"
#include "host/importers/tick_clock.h"
#include "host/importers/ztjson_system.h"

namespace host::importers {

// Makes lines of the JSON files of a continuous run, which docs/formats/continuous.md describes. Memory holds
// what the files say of each metric and one message.
class ZtjsonParts {
public:
    explicit ZtjsonParts(const ImportTarget& target)
        : m_target(target), m_line(target.lines), m_handles(target.lines) {}

    // Reads a part, of whose object the first key has been read. What is wrong shows in `json`.
    void read(JsonPull& json, std::string key);

    // Writes what still waits for the frequency of the clock. To be called after the last part.
    void finish();

    // The same, only to tell the part's place in its run.
    static std::optional<PartKey> place(JsonPull& json, std::string key);

private:
    using Id = std::uint32_t;

    struct Pair {
        std::string entity, descriptor, state;
    };
    // What a part says of a metric or of the machine.
    struct Entry {
        std::string group, name, quantity, units, type;
        std::int64_t id = 0;
        std::vector<std::string> states;
        std::vector<Pair> pairs;
        SystemMembers system;
        bool isSystem = false;
    };
    struct Part {
        Id entity;
        Id descriptor;
        std::string state;  // by which records of deltas name it
    };
    struct Metric {
        std::uint8_t type = 0;
        std::multimap<std::string, Part> parts;  // by the descriptor's name, in their order
        Id entity = 0;                           // of deltas whose own is not known
    };
    struct Record {
        std::int64_t id = 0;
        std::string entity, descriptor;
        std::uint64_t time = 0;
        double duration = 0, value = 0;
    };
    // What waits for the frequency of the clock: an entry, a record, or the end of a part.
    using Waiting = std::variant<Entry, Record, std::monostate>;

    static void readEntry_i(JsonPull& json, Entry& entry);
    static void readPair_i(JsonPull& json, Entry& entry);
    static Record readRecord_i(JsonPull& json);
    static std::string runOf_i(const Entry& system);

    void entry_i(JsonPull& json, Entry entry);
    void writeEntry_i(const Entry& entry);
    void system_i(const Entry& entry);
    void endPart_i();
    void openRun_i();
    void findClock_i();
    bool isTime_i(const Record& record) const;
    bool makes_i(const TickClock& clock) const;
    void metric_i(const Entry& entry);
    void take_i(JsonPull& json, Record record);
    void record_i(const Record& record);
    void residency_i(double value);
    void findPart_i(Metric& metric, const Record& record, Id& entity, Id& descriptor);

    Id entityOf_i(const std::string& name);
    Id descriptorOf_i(const std::string& name, const std::string& state, bool hasState);
    Id quantityOf_i(const Entry& entry);

    ImportTarget m_target;
    SampleLine m_line;
    HandleLines m_handles;
    std::map<std::uint32_t, Metric> m_metrics;
    std::unordered_map<std::string, Id> m_entities;                                    // by name
    std::map<std::pair<std::string, std::pair<bool, std::string>>, Id> m_descriptors;  // by name and state
    std::unordered_map<std::string, Id> m_states;                                      // descriptors by name
    std::map<std::pair<std::string, std::string>, Id> m_quantities;                    // by name and units
    std::optional<SystemDescription> m_system;                // as long as it has not been written
    std::vector<Waiting> m_waiting;                           // for that
    std::size_t m_waitingTimes = 0;                           // times in states among them
    std::unordered_map<std::uint32_t, std::uint8_t> m_types;  // of the metrics described so far
    bool m_hasSystem = false;
    TickClock m_clock;
    std::uint32_t m_metric = 0;  // of the message that is being built, 0: none
    std::uint64_t m_time = 0;
    std::set<std::pair<Id, Id>> m_used;  // entities and descriptors in that message
};

}  // namespace host::importers
