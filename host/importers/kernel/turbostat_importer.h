// The table of turbostat as input.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/importers/importer.h"
#include "host/importers/input_kinds.h"
#include "host/importers/kernel/readings_builder.h"

namespace host::importers {

Sniff sniffTurbostat(std::string_view head, bool isWhole);
std::unique_ptr<Importer> makeTurbostatImporter(const ImportTarget& target);

class TurbostatImporter : public Importer {
public:
    explicit TurbostatImporter(const ImportTarget& target) : m_target(target), m_builder(target) {}

    bool read(Input& part, Damage& damage) override;
    void finish() override;

private:
    // What a reading of a column is of, and which columns tell where it was made.
    enum class Of : std::uint8_t { Cpu, Core, Package, Key };
    struct Column {
        std::string name;
        std::string_view units;
        Of of;
    };
    struct Row {
        std::string_view cpu = {};
        std::string_view core = {};
        std::string_view package = {};
        double time = 0;  // of day; 0: not told
    };

    static Of ofColumn_i(std::string_view name);
    void header_i();
    bool line_i(std::string_view line);
    bool row_i();
    bool placeRow_i(const Row& row);
    bool beginSample_i(const Row& row);
    std::string entity_i(const Row& row, Of of) const;

    ImportTarget m_target;
    ReadingsBuilder m_builder;
    std::vector<std::string_view> m_cells;  // of the line
    std::vector<Column> m_columns;          // none before the first header
    std::set<std::string> m_seen;           // rows of the sample
    std::uint64_t m_stamp = 0;
    bool m_hasTime = false;
    std::uint64_t m_lines = 0, m_mapped = 0, m_malformed = 0, m_other = 0;
};

}  // namespace host::importers
