#pragma once

#include <bitset>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "binary/binarywriter_plugin.h"
#include "binary/byte_chunks.h"
#include "plugins/element_reading.h"
#include "plugins/flat_map.h"
#include "plugins/sample_places.h"
#include "pwr/bin/records.h"
#include "pwr/logger.h"
#include "pwr/messages.h"
#include "pwr/metric.h"
#include "pwr/system_metadata.h"

// Makes the records of one run; pwr/bin/records.h has their layout.
//
// Records gather per type, and a flush puts them out in the order of the types. A string or a descriptor gets
// its index, and its record, when something first refers to it. The tables are never emptied, so in a
// continuous run later files refer to what earlier ones hold. The indices have 16 bits and begin anew after
// 65,535; the run is told so once, as it is of whatever else does not fit the format.
//
// Which metrics have been described, and the number of the next file of a series, belong to the process.
class BinaryWriter::Impl {
public:
    Impl(const std::string& outputName, bool continuous);

    // See BinaryWriter. Those that add records throw std::bad_alloc if memory is lacking; each record is then
    // either there as a whole or not at all.
    std::int32_t fini();
    void flushResults_i(const pwr::SystemMetadata& metadata, bool continuous);
    void writeMessage(const pwr::SystemMessage& message);
    std::int32_t writeMessage(const pwr::Metric& metric);

private:
    using Index = pwr::bin::Index;
    using StringEntry = std::pair<const std::string, Index>;

    // What does not fit the format.
    enum Limit : std::size_t {
        LIMIT_STRING_INDEX,
        LIMIT_DESCRIPTOR_INDEX,
        LIMIT_STRING_LENGTH,
        LIMIT_METRIC_LENGTH,
        LIMIT_NAME_LENGTH,
        LIMIT_COUNT,
    };

    // What the elements of one message have in common.
    struct Message {
        const pwr::Metric& metric;
        bool durationless;  // the elements have no duration of their own
        bool isLogged;      // lines about elements show
    };

    // What is remembered of a descriptor.
    struct KnownDescriptor {
        Index index;
        Index stateIndex;  // of the state's text in the string store, 0 if not looked up yet
    };

    // The indices of an element, and the name of its entity as it was then.
    struct KnownElement {
        Index name;
        Index descriptor;
        std::uint32_t nameLength;
        char nameText[24];  // longer names are not kept

        bool isNamed(const std::string& entity) const {
            return entity.size() == nameLength && std::memcmp(entity.data(), nameText, nameLength) == 0;
        }
    };
    using Places = SamplePlaces<std::uint64_t, KnownElement>;  // by placesKeyOf

    bool writeElement_i(const Message& message, const pwr::DataElement& element, Places::Place& place);
    static void remember_i(const pwr::DataElement& element, Index descriptor, Index name,
                           Places::Place& place);
    void describeOnce_i(const pwr::Metric& metric);
    void createMetricMeta_i(const pwr::Metric& metric);

    // The index of the text that an element is stored under; `descriptor` is the element's.
    Index getSampleNameIdx_i(const Message& message, const pwr::DataElement& element,
                             const pwr::DataDescriptor* descriptor);
    Index getStateIdx_i(const pwr::DataElement& element, const pwr::DataDescriptor* descriptor);
    Index getNameIdx_i(const std::string& name);

    Index getStringStoreIdx_i(const std::string& text) { return internString_i(text).second; }
    const StringEntry& internString_i(const std::string& text);
    void createStringStoreMeta_i(const std::string& text, Index index);
    // Null gives 0.
    Index getDescriptorIdx_i(const pwr::DataDescriptor* descriptor);
    void createDescriptorMeta_i(const pwr::DataDescriptor& descriptor, Index index);
    void createSystemMeta_i(const pwr::SystemMetadata& metadata);

    void append_i(pwr::bin::MsgType type, std::string_view record, std::string_view tail = {});
    void flushBuffers_i(pwr::Logger& handle);
    // Tells the user what happened, the first time that it does.
    void noteLimit_i(Limit limit);

    std::string m_outputName;
    bool m_continuous;
    const pwr::SystemMetadata* m_metadata = nullptr;  // the host's; null until the system message
    double m_tscPeriod = 0.0;                         // microseconds per tick
    Index m_stringCounter = 0;                        // the last index given out
    std::map<std::string, Index> m_stringStore;
    Index m_descriptorCounter = 0;  // the last index given out
    std::map<const pwr::DataDescriptor*, Index> m_descriptorIndices;
    // A record of each kind: its head, and what the last one of the kind left in its fixed part. The data
    // record lacks the value, and holds what the elements of a message share.
    std::vector<char> m_stringRecord;
    std::vector<char> m_dataRecord;
    std::vector<char> m_metricRecord;
    std::vector<char> m_descriptorRecord;
    std::vector<char> m_systemRecord;
    std::map<pwr::bin::MsgType, ByteChunks> m_buffers;

    // Shortcuts past the tables, which hold nothing that the tables do not.
    ByteChunks& m_dataBuffer;
    Places m_places;
    FlatMap<const void*, const StringEntry*> m_knownNames;  // by address of the name
    FlatMap<const pwr::DataDescriptor*, KnownDescriptor> m_knownDescriptors;
    std::bitset<LIMIT_COUNT> m_notedLimits;
    bool m_isMissingSystemNoted = false;
};
