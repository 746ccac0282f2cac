#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "import/handle_attributes.h"
#include "import/sample_builder.h"
#include "import/sample_cache.h"
#include "import/sample_elements.h"
#include "import/shortcuts.h"
#include "import/values.h"
#include "import/vyrta_collection_info.h"
#include "import/vyrta_definitions.h"
#include "import/vyrta_process.h"
#include "import/vyrta_thread.h"
#include "import/vyrta_writer_impl.h"
#include "import/zt2_attribute_list.h"
#include "plugins/writer_plugin.h"
#include "pwr/metric.h"
#include "pwr/process.h"

// Fills the names of attribute types for debug lines. Further calls change nothing.
void createAttributeMap();

// Returns how often this pair of low id bytes was asked for before in the process: the thread's index on its
// core.
int getCoreThreadCount(int package, int core);

// Writes the import file for the visualiser: NAME.pwr, a flat stream of packed little-endian records.
//
// Every id is defined by a metadata record before it is used, each metric's records form one block, and a
// metric with a sample that the format cannot carry is left out whole. docs/formats/pwr.md describes the
// file.
//
// A run is init, one system message, metrics, fini. One result file per process, later runs say why they have
// none: the state of processes, threads and cores and the once-only steps are shared by all writers of a
// process.
//
// All operations that return int give 0 on success and 1 on failure, and log why. Times are TSC ticks.
// Pointers to the host's objects must stay valid until fini.
//
// A sample, or a header, for which memory runs out fails like any other.
//
// The sources: vyrtawriter_plugin.cpp (the run), vyrta_records.cpp (framing), vyrta_header.cpp (header
// block), vyrta_metadata.cpp and vyrta_id_metadata.cpp (definitions), vyrta_samples.cpp and
// vyrta_attributes.cpp (samples), vyrta_processes.cpp, vyrta_wakelocks.cpp.
//
// A sample comes about without the writer: SampleElements takes a message's elements, SampleBuilder makes
// attributes of them by way of Values and HandleAttributes. What the attributes refer to they ask of
// VyrtaDefinitions, which calls the writer's operations.
class VyrtaWriter : public WriterPlugin {
public:
    using StaticIterator = pwr::AttributeValueManager::const_iterator;

    VyrtaWriter();
    ~VyrtaWriter() override;

    // Sets the result's path. `continuous` has no effect. Returns 0.
    std::int32_t init(const std::string& outputName, bool continuous) override;

    // Writes the end records, closes the header block and assembles the file.
    std::int32_t fini() override;

    using WriterPlugin::writeMessage;

    // Writes the header records. A failure voids the whole result.
    std::int32_t writeMessage(const pwr::SystemMessage& message) override;

    // Writes one sample, or a wakelock. A failure voids the metric.
    std::int32_t writeMessage(const pwr::Metric& metric) override;

    // --- Framing -----------------------------------------------------------------------------------------

    // Appends a whole record to the block `storeId`. Every record of the file passes through here.
    int writeRecord(unsigned long storeId, const char* buffer, unsigned int size);

    // Writes the list as a sample of `metricId` at `tsc`, 22 + 12n bytes:
    //
    //   Offset  Width  Value
    //   0       u32    0x02400010
    //   4       u64    TSC
    //   12      u16    12n + 10
    //   14      u32    0x00060047
    //   18      u16    format version: 2, or 1 in legacy mode
    //   20      u16    n
    //   22      12n    n times: u32 attribute type, u64 value
    int writeZT2Record(unsigned long tsc, unsigned long metricId, const ZT2AttributeList* list);

    // Appends one attribute; fails when the list is null or holds 2048.
    int addAttributeToRecord(unsigned int type, unsigned long value, ZT2AttributeList* list);

    // Voids the block `key`: it stays out of the file, and what is written to it from now on fails.
    void setInvalidTempFile(unsigned long key);

    // --- Header block: layouts in vyrta_header.cpp ---------------------------------------------------------

    int writeMagicRecord();
    int writeColInfoRecord();
    int writeSysInfoRecord();
    int writeHardCfgRecord();
    int writeHeadMarkerRecord();
    int writePowerThreshold();

    // --- Metadata ------------------------------------------------------------------------------------------

    static std::string getNameIdKey(const std::string& name, unsigned long id);

    // The id kept for `name`, a fresh one the first time.
    unsigned long getUniqueId(const std::string& name);

    // 1 to 13 as they are, 0 for all other kinds.
    static unsigned int getVyrtaQuantityType(pwr::QuantityType type);

    // The id of an info type, defined on first use; -1 on failure.
    long getInfoTypeMetadataId(const std::string& name);

    // Writes an info metadata record once for each distinct content; layout in vyrta_metadata.cpp.
    // `parentId` is -1 for none. The texts may have 399 bytes together.
    int writeInfoMetadataHelper(const std::string& name, unsigned long infoTypeId,
                                const std::string& longName, const std::string& shortName,
                                const std::string& description, long value, unsigned long id, long parentId);

    int writeMetricTypeMetadata();
    int writeTabGroupMetadata(const std::string& name, const std::string& displayName, unsigned long metricId,
                              unsigned long& tabGroupId);
    int writeTimelineGroupMetadata(const std::string& name, const std::string& displayName,
                                   unsigned long metricId, unsigned long tabGroupId);

    // Defines a quantity, its rate quantity first. Sets `id` to its id, or -1 for a null quantity.
    int handleQuantityMetadata(const pwr::Quantity* quantity, long& id);
    int writeQuantityMetadata(const std::string& name, const std::string& displayName,
                              const std::string& units, unsigned int type, unsigned long id, long rateId,
                              double multiplier);

    // Defines a metric. `metricClass` is 6 for state values on entry, else 10, and the metric's class after.
    int handleMetricMetadata(const pwr::Metric* metric, unsigned short* metricClass);
    int handleMetricMetadataHelper(unsigned long metricId, unsigned short metricClass,
                                   const std::string& name, const std::string& displayName,
                                   const pwr::Quantity* quantity);

    // Writes the metric metadata record to the metric's block; layout in vyrta_metadata.cpp. The groups are
    // looked up by their keys, the quantity by its id, which is -1 for none.
    int writeMetricMetadata(const std::string& name, const std::string& displayName, unsigned long metricId,
                            unsigned short metricClass, long quantityId, unsigned long tabKey,
                            unsigned long timelineKey);

    int writeEntityMetadata(const std::string& name, const std::string& shortName, unsigned long id,
                            long parentId);

    // Defines an entity, its parents first.
    int writeEntityMetadataTopology(const pwr::EntityHandle* entity);

    // Defines a state; a name that has been seen before gives its first id. Succeeds also when the record
    // could not be written.
    int writeStateMetadata(const std::string& name, const std::string& displayName, unsigned long& id);
    int writeStateColorMetadata(const std::string& name);

    // --- Samples -------------------------------------------------------------------------------------------

    int handleMetricMessage(const pwr::Metric& metric);

    // Takes `tsc` as the latest time of the sample key if it lies after the previous one.
    int checkTscMonotonicity(unsigned long tsc, const std::string& key);

    // The latest time of a sample key, at first the collection's start.
    unsigned long getPreviousTsc(const std::string& key);

    // Adds a value to the list, after its quantity if it has one; with `asString` as a string, which goes to
    // `stringOut` if that is given. Null data adds nothing.
    int processData(const pwr::Data* data, const pwr::Quantity* quantity, ZT2AttributeList* list,
                    bool asString, std::string* stringOut);

    // Adds the processes, threads and name-value pairs of a handle, or of an element's additional info, which
    // may be null.
    int processInfoAttributes(const pwr::AttributeValueManager* manager, ZT2AttributeList* list);
    int processInfoAttributes(const pwr::DynamicAttributeValueManager* manager, ZT2AttributeList* list);
    int processInfoAttributesHelper(const pwr::Attribute* attribute, const pwr::Data* data,
                                    ZT2AttributeList* list);

    // Adds the data attributes, as strings but for the first one when `allAsString` is false.
    int processDataAttributes(const pwr::AttributeValueManager* manager, ZT2AttributeList* list,
                              bool allAsString);
    int processDataAttributes(const pwr::DynamicAttributeValueManager* manager, ZT2AttributeList* list,
                              bool allAsString);
    int processDataAttributesHelper(const pwr::Attribute* attribute, const pwr::Data* data,
                                    ZT2AttributeList* list, bool asString, std::string* stringOut);

    // Fills `out` with the first attribute's text; leaves it alone when there is none.
    int getFirstDataAttributeAsString(const pwr::AttributeValueManager* manager, std::string* out);

    // Adds a string: an INFO attribute with the id of the string's info record, which is written on first
    // use.
    int processStringData(const std::string& text, ZT2AttributeList* list);

    // Add a number or a range as a string, units in parentheses after it.
    template <typename T>
    int processValueAsString(T value, const pwr::Quantity* quantity, ZT2AttributeList* list,
                             std::string* stringOut) {
        return m_values.addAsText(value, quantity, list, stringOut);
    }
    template <typename T>
    int processRangeAsString(T lower, T upper, const pwr::Quantity* quantity, ZT2AttributeList* list,
                             std::string* stringOut) {
        return m_values.addRangeAsText(lower, upper, quantity, list, stringOut);
    }

    // --- Processes and threads -----------------------------------------------------------------------------

    // Write the start record at first sight; with `firstSight` false the end record.
    int handleProcessInfo(const pwr::Process* process, bool firstSight);
    int handleThreadInfo(const pwr::Thread* thread, bool firstSight);

    // Writes the end records of all processes, then of all threads, and forgets them.
    int flushStoredStates();
    static void forgetStoredStates();
    int writeProcessSample(const VyrtaProcess& process);
    int writeThreadSample(const VyrtaThread& thread);

    // --- Wakelocks: layouts in vyrta_wakelocks.cpp ---------------------------------------------------------

    int handleWakelockSampleNonGeneric(const pwr::Metric* metric);
    int handleWakelockSampleNonGenericHelper(unsigned long metricId, pwr::RealTableClass tableClass,
                                             const pwr::EntityHandle* entity, unsigned long tsc,
                                             unsigned long duration, unsigned long storeId,
                                             StaticIterator begin, StaticIterator end);
    int writeAPKMetadataNonGeneric(unsigned long tsc, unsigned int uid, const std::string& name,
                                   unsigned long storeId);
    int writeKernelWakelockSampleNonGeneric(unsigned long tsc, const std::string& name, unsigned int pid,
                                            unsigned int tid, unsigned long expires, unsigned short type,
                                            unsigned long storeId);
    int writeUserWakelockSampleNonGeneric(unsigned long tsc, const std::string& name, unsigned int uid,
                                          unsigned int pid, unsigned int tid, unsigned int reserved,
                                          unsigned short type, unsigned short flag, unsigned long storeId);

    std::map<std::uint64_t, std::string> m_metricNames;   // by metric id
    std::map<std::string, std::uint64_t> m_previousTsc;   // latest time by sample key
    std::unique_ptr<VyrtaWriterImpl> m_impl;              // the stores and the file
    std::unique_ptr<VyrtaCollectionInfo> m_info;          // null before the system message
    std::uint64_t m_systemStoreId;                        // the header block; all ones before that message
    std::map<std::uint32_t, std::string> m_packageNames;  // by uid
    std::map<std::uint64_t, std::uint64_t> m_tabGroups;   // group id by metric id
    std::map<std::uint64_t, std::uint64_t> m_timelineGroups;
    std::map<std::uint64_t, std::uint64_t> m_quantities;   // ids of the quantities written
    std::map<std::uint64_t, std::uint64_t> m_metricTypes;  // id of the info record by metric class
    std::uint64_t m_cstateTabGroupId;                      // the shared groups; UNWRITTEN_GROUP at first
    std::uint64_t m_cstateTimelineGroupId;
    std::uint64_t m_temperatureTabGroupId;
    std::uint64_t m_powerTabGroupId;
    std::map<std::int64_t, std::string> m_processedMetrics;  // metrics whose metadata is complete
    std::map<std::string, std::uint64_t> m_entities;         // parent id by name and id
    std::map<std::string, std::uint64_t> m_states;           // id by state name
    std::map<std::string, std::uint64_t> m_stateColors;      // colour id by state name
    std::map<std::string, std::uint64_t> m_infoTypes;        // id by info type name
    std::map<std::string, std::uint64_t> m_infoRecords;      // value by content
    std::map<std::string, std::uint64_t> m_strings;          // id by string
    std::map<std::string, std::uint64_t> m_names;            // ids of getUniqueId
    bool m_legacyFormat;                                     // reals truncated, format version 1

    static constexpr std::uint64_t NO_SYSTEM_MESSAGE = ~std::uint64_t{0};
    static constexpr std::uint64_t UNWRITTEN_GROUP = 0xDEADBEEF;

private:
    VyrtaBackingStoreManager* getStore_i(unsigned long storeId);
    void reportReason_i(const pwr::Metric& metric) const;

    bool m_isTextTooLong;                                                // of the current message
    std::unordered_map<const pwr::Thread*, std::uint64_t> m_threadEnds;  // those that their processes tell
    vyrta::Shortcuts m_shortcuts;
    vyrta::VyrtaDefinitions m_definitions;
    vyrta::Values m_values;
    vyrta::HandleAttributes m_handleAttributes;
    vyrta::MetricCaches m_metrics;
    vyrta::SampleElements m_elements;  // of the current message
    vyrta::SampleBuilder m_builder;
};
