#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <memory_resource>
#include <optional>
#include <string>
#include <vector>

#include "overtime/backing_store_wrapper.h"
#include "overtime/declared_pairs.h"
#include "overtime/row_order.h"
#include "plugins/flat_map.h"
#include "plugins/memory_pages.h"
#include "plugins/output_file.h"
#include "plugins/sample_places.h"
#include "plugins/writer_plugin.h"
#include "pwr/messages.h"
#include "pwr/metric.h"
#include "pwr/utilities.h"

// Writes `<output name>_trace.csv`: the metrics of a run over time, each as one or more aligned tables, with
// rates of counters and residencies as times and percentages.
//
// A sampled metric has tables per entity with one row per sample, a traced metric has a table per entity and
// descriptor with one row per event. Groups of tables come in ascending order of their outer key.
class IntWriterV2 : public WriterPlugin {
public:
    // What a sampled table does to a value.
    enum Calculations : std::int32_t {
        CalculationNone = 0,                 // the value as the host formats it
        CalculationInstantaneousRate = 1,    // value per second
        CalculationResidencyPercentage = 2,  // share of the sample's duration
        CalculationResidencyTime = 3,        // ticks turned into microseconds
    };

    enum TimeConversion : std::int32_t {
        TimeConversionMilliseconds = 0,
        TimeConversionMicroseconds = 1,
    };

    struct SampledDataColumnIndices {
        std::uint16_t sampleColumn = 0;
        std::uint16_t timeColumn = 0;
        std::uint16_t durationColumn = 0;
        FlatMap<std::uint64_t, std::uint16_t> dataColumns;       // by entity and descriptor
        FlatMap<std::uint64_t, std::uint16_t> attributeColumns;  // by attribute id, 32 bits of it
    };

    // One table and where its columns are. What every row needs comes first.
    struct alignas(64) TableInfo {
        TableInfo(const std::string& title, const std::string& defaultValue,
                  std::pmr::memory_resource* memory)
            : store(title, defaultValue, memory) {}

        std::uint64_t sampleCount = 0;   // rows begun
        std::uint64_t lastMessage = 0;   // the sampled message that began the latest row
        std::uint64_t lastDuration = 0;  // the one that the duration cell of the latest row shows
        bool hasDuration = false;
        bool columnsReady = false;
        std::uint16_t tracedSampleColumn = 0;
        std::uint16_t tracedTimeColumn = 0;
        std::uint16_t tracedEntityColumn = 0;  // in the tables of PhmTextWriter only
        std::uint16_t tracedStateColumn = 0;
        std::uint16_t tracedValueColumn = 0;
        std::uint16_t tracedDurationColumn = 0;
        SampledDataColumnIndices sampled;
        BackingStoreWrapper store;
        FlatMap<std::uint64_t, std::uint16_t> tracedAttributeColumns;  // as attributeColumns
        std::string tracedEntityName;                                  // the text of tracedEntityColumn

        // Takes the columns back when there is no memory for all of them.
        void dropColumns() {
            store.removeColumns();
            sampled = {};
            tracedAttributeColumns = {};
        }

        // Has the processor fetch what a row needs, in stages: this; what it points to.
        static constexpr std::size_t STAGES = 2;
        PREFETCHES void fetch(std::size_t stage) const {
            if (stage == 0) {
                prefetch(this, CACHE_LINE);
                store.fetch();
            } else {
                store.fetchRow();
            }
        }
    };

    IntWriterV2();
    ~IntWriterV2() override;

    using WriterPlugin::writeMessage;

    // Creates the file. Returns 1 if that fails. The flag is ignored.
    std::int32_t init(const std::string& outputName, bool continuous) override;

    // Prints the tables and closes the file. Returns 1 if there is no file, or if tables or rows are missing
    // in it.
    std::int32_t fini() override;

    // Writes the text and a line feed.
    std::int32_t writeMessage(const pwr::TextMessage& message) override;

    // Takes the start of the collection and the frequency of its timestamps. Returns 1 if that is 0.
    std::int32_t writeMessage(const pwr::SystemMessage& message) override;

    // Adds rows to the metric's tables. Returns 1 if the sample was taken before the start of the collection;
    // other failures are only logged.
    std::int32_t writeMessage(const pwr::Metric& metric) override;

    // Notes which residency tables of a metric are wanted.
    std::int32_t writeMessage(const pwr::MetricContainerInfoMessage& message) override;

    // Adds a sampled metric's rows to its tables of index `tableIndex` (0, 1 or 2). `quantity`, which may be
    // null, gives the units of the value columns; `titleSuffix` and `defaultValue` are for tables that are
    // new. Returns 0, or 1 if a table could not be had or a value not be calculated; rows begun are then left
    // as they are, to be completed by the next message.
    virtual std::int32_t writeSampledGeneric(const pwr::Metric& metric, std::uint64_t tableIndex,
                                             Calculations calculation, const pwr::Quantity* quantity,
                                             const std::string& titleSuffix, const std::string& defaultValue);

    // Adds a row per element of a traced metric. Returns 0, or 1 if a table could not be had or an attribute
    // not be resolved; the rest of the message is then dropped.
    virtual std::int32_t writeTracedMetric(const pwr::Metric& metric);

    // The table of the two keys, made with `title` and `defaultValue` on first use, or null. Stays the
    // writer's.
    BackingStoreWrapper* getStore(const std::string& title, std::uint64_t outerKey, std::uint64_t innerKey,
                                  const std::string& defaultValue);

    // The text of a number of ticks in the unit asked for, with two decimals.
    std::string convertTicksToTime(std::uint64_t ticks, TimeConversion conversion);

protected:
    // For a derived writer, which registers its capability and reads the settings itself.
    IntWriterV2(const std::string& id, const std::string& extension);

    struct SampledMessage;

    // Puts a value over so many ticks into m_cell, as the table shows it. Returns 0, or 1 after a warning.
    using Calculate = std::int32_t (IntWriterV2::*)(const SampledMessage&, const pwr::Data&, std::uint64_t);

    // What is the same for all elements of a sampled message.
    struct SampledMessage {
        const pwr::Metric& metric;
        std::uint64_t tableIndex;
        Calculations calculation;
        Calculate calculate;
        const pwr::Quantity* quantity;
        const std::string& titleSuffix;
        const std::string& defaultValue;
        const char* logTag;  // of the warnings; may be null
        bool hasRate;        // a rate is to be calculated and can be
        double rateFactor;
    };

    // How the rows of traced tables differ between the writers.
    struct TracedStyle {
        bool hasEntityColumn;
        const char* logTag;  // of the warnings; may be null
    };

    struct TableKey {
        std::uint64_t outer;
        std::uint64_t inner;
        bool operator==(const TableKey&) const = default;
        friend std::uint64_t hashOf(const TableKey& key) {
            return ::hashOf(key.outer * 31 + ::hashOf(key.inner));
        }
    };

    // Where the cell of an element goes.
    struct CellPlace {
        TableInfo* table = nullptr;
        std::uint16_t column = 0;
    };
    using Place = SamplePlace<CellPlace>;

    // The name by which the user selects the writer.
    const char* optionName_i() const;
    void readSettings_i();
    TableInfo* findTable_i(std::uint64_t outerKey, std::uint64_t innerKey) const;
    TableInfo& addTable_i(const std::string& title, std::uint64_t outerKey, std::uint64_t innerKey,
                          const std::string& defaultValue);

    SampledMessage sampledMessage_i(const pwr::Metric& metric, std::uint64_t tableIndex,
                                    Calculations calculation, const pwr::Quantity* quantity,
                                    const std::string& titleSuffix, const std::string& defaultValue,
                                    const char* logTag) const;
    static std::string sampledUnits_i(Calculations calculation, const pwr::Quantity* quantity);
    void addFixedColumns_i(TableInfo& table) const;
    void beginSampledRow_i(TableInfo& table, std::uint64_t timestamp);
    static bool hasWrappedColumns(const TableInfo& table) {
        return table.store.columnCount() > std::size_t{std::numeric_limits<std::uint16_t>::max()} + 1;
    }
    void pushWrapped_i(std::uint64_t duration, const CellPlace& place);
    void pushDuration_i(std::uint64_t duration, TableInfo& table);
    std::int32_t calculate_i(const SampledMessage& message, const pwr::Data& value, std::uint64_t duration) {
        return (this->*message.calculate)(message, value, duration);
    }

    const pwr::DataDescriptor* stateOf_i(const pwr::Data& value);
    std::int32_t addTracedColumns_i(const pwr::Metric& metric, const pwr::DataElement& element,
                                    const pwr::DataDescriptor* state, TableInfo& table,
                                    const TracedStyle& style) const;
    std::int32_t writeTracedRow_i(std::uint64_t timestamp, const pwr::DataElement& element,
                                  const pwr::DataDescriptor* state, TableInfo& table,
                                  const TracedStyle& style);

    // What rows need of all tables, in few pages: those cost the processor more than the memory in them.
    memory_pages::LargePageResource m_largePages;
    std::pmr::unsynchronized_pool_resource m_tableMemory;

    std::string m_extension;
    std::string m_fileName;
    FilePtr m_file;
    double m_timestampFrequency;           // ticks per microsecond
    std::uint64_t m_globalStartTimestamp;  // ticks
    std::pmr::map<std::uint64_t, std::pmr::map<std::uint64_t, TableInfo>> m_tables;
    bool m_doTimelineTsc;             // print raw timestamps
    bool m_doTimelineResidencyTicks;  // print residency times as raw ticks
    std::map<std::uint32_t, pwr::TimelineTableType> m_timelineTableTypes;  // by metric id

    bool m_isComplete;                           // no table and no row has been lost
    int m_writeError;                            // errno of the first write to the file that failed, or 0
    std::string m_cell;                          // the latest result of calculate_i
    SamplePlaces<TableKey, CellPlace> m_places;  // of sampled metrics, by metric id and table index

private:
    // The latest text of a number, since most texts are asked for many times in a row.
    struct LatestText {
        bool isSet = false;
        std::uint64_t number = 0;
        std::string text;

        // The text of `wanted`, which `format` puts into its argument if it is not the latest.
        template <typename Format>
        const std::string& of(std::uint64_t wanted, const Format& format) {
            if (!isSet || number != wanted) renew(wanted, format);
            return text;
        }

        // Not inlined, to keep the way of the latest text short.
        template <typename Format>
        [[gnu::noinline]] void renew(std::uint64_t wanted, const Format& format) {
            format(text);
            isSet = true;
            number = wanted;
        }
    };

    // The latest start of a row: most tables of a message begin their rows alike.
    struct LatestStart {
        std::uint64_t sampleCount = 0;  // counted from 1; 0: none
        std::uint64_t timestamp = 0;
        overtime::RowStart cells;

        bool isOf(std::uint64_t aCount, std::uint64_t aTimestamp) const {
            return sampleCount == aCount && timestamp == aTimestamp;
        }
    };

    std::int32_t printTables_i();
    void addRows_i(const pwr::Metric& metric);
    std::int32_t writeSampledDeltaMetric(const pwr::Metric& metric);
    std::int32_t writeSampledResidencyMetric(const pwr::Metric& metric);
    std::int32_t writeSampledElement_i(const SampledMessage& message, std::uint64_t timestamp,
                                       const pwr::DataElement& element, Place& place);
    bool findPlace_i(const SampledMessage& message, const pwr::DataElement& element, Place& place);
    TableInfo* sampledTable_i(const SampledMessage& message, const pwr::EntityHandle& entity);
    void addSampledColumns_i(const SampledMessage& message, const pwr::EntityHandle& entity,
                             TableInfo& table);
    static std::string lateTitle_i(const SampledMessage& message, const pwr::DataElement& element);
    std::int32_t listTracedColumns_i(const pwr::Metric& metric, const pwr::DataElement& element,
                                     const pwr::DataDescriptor* state, TableInfo& table,
                                     const TracedStyle& style) const;
    std::int32_t pushAdditionalInfo_i(const pwr::DynamicAttributeValueManager& info, TableInfo& table,
                                      const char* logTag);
    std::int32_t addInfoColumns_i(const pwr::DynamicAttributeValueManager& info, TableInfo& table,
                                  const char* logTag) const;
    void pushAttributes_i(const pwr::AttributeValueManager& attributes,
                          FlatMap<std::uint64_t, std::uint16_t>& columns, BackingStoreWrapper& store);

    static Calculate calculateOf_i(Calculations calculation);
    std::int32_t calculateNothing_i(const SampledMessage& message, const pwr::Data& value,
                                    std::uint64_t duration);
    std::int32_t calculateRate_i(const SampledMessage& message, const pwr::Data& value,
                                 std::uint64_t duration);
    std::int32_t calculatePercentage_i(const SampledMessage& message, const pwr::Data& value,
                                       std::uint64_t duration);
    std::int32_t calculateTime_i(const SampledMessage& message, const pwr::Data& value,
                                 std::uint64_t duration);
    void formatTicks_i(std::uint64_t ticks, TimeConversion conversion, std::string& out) const;
    void formatTime_i(std::uint64_t timestamp, TimeConversion conversion, std::string& out) const;

    const std::string& timeText_i(std::uint64_t timestamp, TimeConversion conversion);
    const std::string& durationText_i(std::uint64_t ticks);
    const std::string& sampleText_i(std::uint64_t sampleCount);
    [[gnu::noinline]] void renewRowStart_i(std::uint64_t sampleCount, std::uint64_t timestamp);

    FlatMap<TableKey, TableInfo*> m_tableCache;
    FlatMap<std::uint64_t, const pwr::DataDescriptor*> m_stateCache;  // by address of the handle
    std::uint64_t m_messageCount;                                     // sampled messages
    std::optional<overtime::DeclaredPairs> m_declared;                // of the current message, if needed
    overtime::RowOrder<TableKey, TableInfo> m_order;                  // by metric id and table index
    pwr::RealFormatter m_realFormatter;                               // two decimals
    LatestText m_timeTexts[2];                                        // by TimeConversion
    LatestText m_durationText;
    LatestText m_sampleText;
    LatestStart m_rowStart;
    std::string m_attributeCell;
};
