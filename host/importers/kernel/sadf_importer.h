// What sadf -j prints as input.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/importers/importer.h"
#include "host/importers/input_kinds.h"
#include "host/importers/json_pull.h"
#include "host/importers/kernel/readings_builder.h"
#include "host/importers/system_line.h"

namespace host::importers {

Sniff sniffSadf(std::string_view head, bool isWhole);
std::unique_ptr<Importer> makeSadfImporter(const ImportTarget& target);

class SadfImporter : public Importer {
public:
    explicit SadfImporter(const ImportTarget& target) : m_target(target), m_builder(target) {}

    bool read(Input& part, Damage& damage) override;
    void finish() override;

private:
    // The readings of an item, and the text that names it.
    struct Item {
        std::string key;
        std::string name;
        std::vector<std::pair<std::string, double>> values;
    };

    void document_i(JsonPull& json);
    void host_i(JsonPull& json);
    void statistics_i(JsonPull& json);
    void timestamp_i(JsonPull& json);
    void value_i(JsonPull& json, const std::string& path, Item& item);
    void list_i(JsonPull& json, const std::string& path);
    void deliver_i(const std::string& path, const Item& item);

    ImportTarget m_target;
    ReadingsBuilder m_builder;
    SystemDescription m_system;
    std::uint64_t m_stamp = 0;
    int m_depth = 0;          // of lists
    bool m_hasStamp = false;  // of the sample that is being read
};

}  // namespace host::importers
