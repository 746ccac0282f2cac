#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "overtime/backing_store_wrapper.h"
#include "plugins/flat_map.h"
#include "plugins/output_file.h"
#include "plugins/sample_places.h"
#include "plugins/writer_plugin.h"

// Writes `<output name>.txt`: one table per metric with one row per sample, values as the host formats them.
// Texts stand in front of all tables; tables come in the order in which their metrics first appeared.
class RawWriterV2 : public WriterPlugin {
public:
    RawWriterV2();
    ~RawWriterV2() override;

    using WriterPlugin::writeMessage;

    // Creates the file. Returns 1 if that fails. The flag is ignored.
    std::int32_t init(const std::string& outputName, bool continuous) override;

    // Prints the tables and closes the file. Returns 1 if there is no file or something is missing in it.
    std::int32_t fini() override;

    // Writes the text and an empty line.
    std::int32_t writeMessage(const pwr::TextMessage& message) override;

    std::int32_t writeMessage(const pwr::SystemMessage& message) override;

    // Adds a row to the metric's table. Returns 1 if there is no table to be had.
    std::int32_t writeMessage(const pwr::Metric& metric) override;

    // Does nothing.
    std::int32_t writeMessage(const pwr::MetricContainerInfoMessage& message) override;

    // The table of a metric, made with `title` on first use, or null. Stays the writer's.
    BackingStoreWrapper* getStore(const std::string& title, std::uint32_t metricId);

private:
    using ColumnMap = FlatMap<std::uint64_t, std::uint16_t>;

    // What is known of a metric, for the next message.
    struct MetricTable {
        BackingStoreWrapper* store = nullptr;
        ColumnMap* columns = nullptr;
        PlaceList<std::uint16_t> places;  // the columns of its elements
    };

    std::int32_t printTables_i();
    std::int32_t addRow_i(const pwr::Metric& metric);
    MetricTable* tableOf_i(const pwr::Metric& metric);
    static std::uint16_t columnOf_i(const pwr::Metric& metric, const pwr::DataElement& element,
                                    const MetricTable& table);
    void declareColumns_i(const pwr::Metric& metric, BackingStoreWrapper& store, ColumnMap& columns);
    bool isKnown_i(std::uint32_t metricId) const;

    std::string m_extension;
    std::string m_fileName;
    FilePtr m_file;
    int m_writeError;            // errno of the first write to the file that failed, or 0
    float m_timestampFrequency;  // ticks per microsecond; unused
    std::unordered_map<std::uint32_t, BackingStoreWrapper*> m_stores;
    std::unordered_map<std::uint32_t, ColumnMap> m_columnsByMetric;  // column of each entity and descriptor
    std::vector<std::uint32_t> m_knownMetrics;                       // metrics whose columns were declared

    std::vector<std::unique_ptr<BackingStoreWrapper>> m_tables;  // the stores, in order of first appearance
    std::deque<MetricTable> m_metricTables;
    FlatMap<std::uint64_t, MetricTable*> m_tableOf;  // by metric id
    std::string m_cell;
};
