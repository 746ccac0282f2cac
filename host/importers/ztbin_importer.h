// The binary trace as input; docs/formats/ztbin.md describes the files.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/importers/handle_lines.h"
#include "host/importers/importer.h"
#include "host/importers/input_kinds.h"
#include "host/importers/sample_line.h"
#include "host/importers/tick_clock.h"
#include "pwr/bin/records.h"

namespace host::importers {

Sniff sniffZtbin(std::string_view head, bool isWhole);
std::optional<PartKey> placeZtbin(Input& part);
std::unique_ptr<Importer> makeZtbinImporter(const ImportTarget& target);

// Makes lines of the records as they come: memory holds the tables of the run and one message.
class ZtbinImporter : public Importer {
public:
    explicit ZtbinImporter(const ImportTarget& target)
        : m_target(target), m_line(target.lines), m_handles(target.lines) {}

    bool read(Input& part, Damage& damage) override;

private:
    using Index = pwr::bin::Index;
    using Id = std::uint32_t;

    struct String {
        std::string text;
        Id entity = 0;  // of this name, 0 as long as there is none
        bool isDefined = false;
    };
    struct Descriptor {
        Index state = 0;
        Index name = 0;
        Id id = 0;  // 0 as long as no line defines it
        bool isDefined = false;
    };
    struct Metric {
        Id id = 0;
        std::uint8_t type = 0;
        Id entity = 0;                                 // of deltas whose own is not known
        std::unordered_map<Index, Id> entitiesByPart;  // of deltas, by descriptor
    };

    // Each takes a payload whose length is right and returns false with m_fault set if it cannot be.
    bool record_i(pwr::bin::MsgType type, std::string_view payload);
    bool string_i(std::string_view payload);
    bool system_i(std::string_view payload);
    bool descriptor_i(std::string_view payload);
    bool metric_i(std::string_view payload);
    bool data_i(std::string_view payload);
    const Metric* metricOf_i(Id id);

    bool fail_i(const std::string& what);
    bool isBehindOthers_i() const;
    const std::string* text_i(Index index);
    bool entity_i(Index name, Id& id);
    bool part_i(Index index, bool hasEmptyState, Id& id);
    void define_i(Descriptor& descriptor, bool hasEmptyState);
    bool quantity_i(std::string_view payload, Id& id);
    std::uint64_t ticks_i(float microseconds);
    void residency_i(float value);

    ImportTarget m_target;
    SampleLine m_line;
    HandleLines m_handles;
    std::string m_fault;

    // The tables of the run, by index.
    std::vector<String> m_strings;
    std::vector<Descriptor> m_descriptors;
    std::unordered_map<std::uint32_t, Metric> m_metrics;
    std::unordered_map<std::string, Id> m_quantities;      // by name and units
    std::unordered_map<std::string, Index> m_namedStates;  // descriptors by name

    bool m_hasSystem = false;  // of the run
    bool m_hasPartSystem = false;
    TickClock m_clock;
    float m_lastDuration = 0;
    std::uint64_t m_lastTicks = 0;
    const Metric* m_metric = nullptr;  // of the message that is being built
    std::uint64_t m_time = 0;
};

}  // namespace host::importers
