// Results that leave the library while a collection is running.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "plugins/element_reading.h"
#include "pwr/messages.h"
#include "pwr/metric.h"
#include "pwr/system_metadata.h"
#include "pwr/utilities.h"

// Gathers one flat record per data element, and one tree per metric that describes it, until a flush writes
// them out and empties the collector.
//
// There is one collector for all writers of the process. It holds copies of every text, so it may outlive the
// messages; between two flushes it grows by 48 bytes per element. A metric's tree is made once in the life of
// the process, with the metric's first sample. Statuses are 0 for success and 1 for failure; std::bad_alloc
// is the caller's to catch.
class ContinuousWriter {
public:
    // One element of a sample. The texts are not owned and must outlive the record.
    class Data {
    public:
        // `timestamp` is in TSC ticks, `duration` in microseconds.
        Data(int id, const std::string& entity, const std::string& descriptor, unsigned long timestamp,
             double duration, double value)
            : m_id(id),
              m_entity(&entity),
              m_descriptor(&descriptor),
              m_timestamp(timestamp),
              m_duration(duration),
              m_value(value) {}

        std::int32_t m_id;                // the metric's id
        const std::string* m_entity;      // the entity's name; of a delta metric, the state's
        const std::string* m_descriptor;  // the descriptor's name, or "N/A"
        std::uint64_t m_timestamp;        // TSC ticks
        double m_duration;                // whole microseconds
        double m_value;
    };

    // A node of a tree that describes a metric or the machine.
    class Metadata {
    public:
        // One value under a key: a subtree, or a text where `m_child` is null.
        struct Data {
            std::string m_text;
            std::shared_ptr<Metadata> m_child;
        };
        using Entry = std::pair<std::string, std::vector<std::shared_ptr<Data>>>;

        explicit Metadata(const std::string& name = std::string(), std::int32_t id = -1)
            : m_name(name), m_id(id) {}

        // Appends a value to those under `key`. T is std::string, unsigned int, unsigned long, float or
        // double, which become text (reals with six significant digits), or std::shared_ptr<Metadata>.
        template <typename T>
        void add(const std::string& key, const T& value) {
            if constexpr (std::is_same_v<T, std::shared_ptr<Metadata>>)
                append_i(key, {std::string(), value});
            else if constexpr (std::is_same_v<T, std::string>)
                append_i(key, {value, nullptr});
            else
                append_i(key, {pwr::toString(value), nullptr});
        }

        std::string m_name;            // the feature's name; empty below the top level
        std::int32_t m_id;             // the metric's id; -1 below the top level
        std::vector<Entry> m_entries;  // in the order in which their keys came up

    private:
        void append_i(const std::string& key, Data value);
    };

    ContinuousWriter() = default;

    // `name` is the path of the result files without number and extension.
    explicit ContinuousWriter(const std::string& name);
    ContinuousWriter(const ContinuousWriter&) = delete;
    ContinuousWriter& operator=(const ContinuousWriter&) = delete;
    virtual ~ContinuousWriter();

    // Writes out and forgets what has gathered since the last flush.
    virtual bool flushContinuousResults(const pwr::SystemMetadata& metadata) = 0;

    // Takes the collection's metadata, which must outlive the run. Returns 0.
    std::int32_t writeMessage(const pwr::SystemMessage& message);

    // Makes a record of each element of the metric's sample. Returns 1 at the first element whose value
    // should name a descriptor and doesn't; the records of those before it stay.
    std::int32_t writeMessage(const pwr::Metric& metric);

    // Ends the run and returns the host's status. What waits for a flush stays unwritten.
    std::int32_t fini();

protected:
    std::string m_name;                                     // output name without extension
    const pwr::SystemMetadata* m_systemMetadata = nullptr;  // the host's
    double m_tickFactor = 0.0;                              // microseconds per tick, of single precision
    // By name; in the order of insertion, names may recur.
    std::vector<std::pair<std::string, std::shared_ptr<Metadata>>> m_metadata;
    std::vector<Data> m_data;  // in order of arrival

private:
    using TextById = std::unordered_map<unsigned long, const std::string*>;

    bool writeElement_i(const pwr::Metric& metric, const pwr::DataElement& element, std::uint64_t timestamp);
    std::uint64_t durationOf_i(const pwr::DataElement& element, bool instant) const;
    const std::string& nameOf_i(const pwr::DataHandle& handle);
    const std::string& sampledStateOf_i(const pwr::DataElement& element);
    const std::string& keep_i(const std::string& text);

    std::unordered_set<std::string> m_texts;  // every text that a record refers to
    TextById m_names;                         // of handles, by their id; for one run
    TextById m_states;                        // of descriptors, by their id; for one run
};
