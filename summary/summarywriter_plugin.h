#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <unordered_set>

#include "summary/text_writer_impl.h"
#include "summary/textwriter_plugin.h"

namespace pwr {
class HeaderTextMessage;
}  // namespace pwr

// Option "sum", the default writer: the report of all summary tables of a collection, <output name>.csv.
//
// With the output name "console" the tables and texts also go to standard output. Every table holds an open
// temporary file from its first message until the writer is destroyed.
class SummaryWriter : public TextWriter {
public:
    SummaryWriter();
    ~SummaryWriter() override;

    // Creates the report. Returns 0, or 1 if that fails.
    std::int32_t init(const std::string& outputName, bool continuous) override;

    // Writes the report. Returns 0, or 1 if it was never created.
    std::int32_t fini() override;

    // Takes a table's columns from its first message, and a row from every message that is one. Tables that
    // are no summary tables are dropped. Returns 1 if a cell could not be looked up or stored.
    std::int32_t writeMessage(const pwr::TableMessage& message) override;

    // Appends a line to one of the report's two text sections: a header text, reached through the first
    // operation by its message type, to the one at the head, any other to the one after it. Returns 0, or 1
    // if the text could not be stored. Throws std::bad_cast on a message whose type does not tell the truth.
    std::int32_t writeMessage(const pwr::TextMessage& message) override;
    std::int32_t writeMessage(const pwr::HeaderTextMessage& message);

    // Takes notes, header, and the name of a metric container, and its information table, if it has one.
    // Returns 0, or 1 if memory is short.
    std::int32_t writeMessage(const pwr::MetricContainerInfoMessage& message) override;

    using TextWriter::writeMessage;

private:
    std::int32_t fileTable_i(const pwr::TableMessage& message);
    std::int32_t fileContainer_i(const pwr::MetricContainerInfoMessage& message);
    std::int32_t handleTableMessage(const pwr::TableMessage& message, TempFileManager* manager, bool created);
    std::int32_t writeText_i(unsigned long key, const std::string& text);
    bool addToMetricOrder_i(unsigned int containerId);

    bool m_console;
    std::unique_ptr<std::list<unsigned int>> m_metricOrder;  // metric container ids by first appearance
    std::unique_ptr<FeatureMap> m_features;
    std::unordered_set<unsigned int> m_knownContainers;  // those in m_metricOrder
};
