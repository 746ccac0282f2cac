#pragma once

#include <string_view>

#include "host/model/registry.h"
#include "host/stream/object_reader.h"
#include "host/stream/references.h"

namespace host::stream {

// Reads lines that define something and enters it into the registry. A line with a fault enters nothing.
class DefinitionReader {
public:
    DefinitionReader(model::Registry& registry, Fault& fault);

    // Reads a line whose "def" is `kind`.
    void read(std::string_view kind, ObjectReader& line);

private:
    void quantity_i(ObjectReader& line);
    void attribute_i(ObjectReader& line);
    void entity_i(ObjectReader& line);
    void descriptor_i(ObjectReader& line);
    void handle_i(ObjectReader& line);
    void process_i(ObjectReader& line);
    void thread_i(ObjectReader& line);
    void pair_i(ObjectReader& line);
    void metric_i(ObjectReader& line);
    void table_i(ObjectReader& line);
    void order_i(ObjectReader& line);

    unsigned long newHandleId_i(ObjectReader& line);
    model::HandleTexts texts_i(ObjectReader& line);
    const pwr::Quantity* quantityAt_i(ObjectReader& line);
    std::vector<std::pair<const pwr::Attribute*, model::Value>> attributeValues_i(ObjectReader& line);
    std::vector<const pwr::DataHandle*> columns_i(ObjectReader& line, std::string_view key);
    void metricReferences_i(ObjectReader& line, model::Metric& metric);
    void metricTypes_i(ObjectReader& line, model::Metric& metric);
    void setDuplicate_i(unsigned long id);

    model::Registry& m_registry;
    Fault& m_fault;
    References m_references;
};

// Reads the keys of an output configuration: "features", "prefixes", "metrics".
void readOutputConfiguration(ObjectReader& object, model::OutputConfiguration& out);

// Reads the notes of a table or container at `token`.
pwr::TextNotes readNotes(const Token& token, Fault& fault);

}  // namespace host::stream
