// The common work that all writers are measured with.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bench/measure.h"
#include "host/model/handles.h"
#include "host/model/metric.h"
#include "host/model/quantity.h"
#include "host/model/system_metadata.h"
#include "plugins/writer_plugin.h"

namespace bench {

// How large the work is. The defaults make about 2,000,000 elements.
struct WorkSize {
    std::size_t elements = 2000000;   // at least
    std::size_t entities = 16;        // per sampled metric
    std::size_t metricsOfAKind = 2;   // of each of the four kinds
    std::size_t states = 5;           // per residency
    std::size_t ticks = 64;           // in the stretch of time that is built
    std::size_t perMessage = 0;       // entities whose elements come in one message; 0: all of them
    std::size_t distinctEvents = 12;  // texts of the traced events
};

// Metrics of four kinds (delta counters, residencies, sampled values, traced events) and the samples of a
// stretch of time. The samples are built once; a run delivers them over and over with rising timestamps, as
// a collector does that recycles its records.
class Work {
public:
    explicit Work(const WorkSize& size);
    Work(const Work&) = delete;
    Work& operator=(const Work&) = delete;

    // Sends the system message, then all metric messages. Returns false if one of them failed.
    bool deliver(WriterPlugin& writer);

    const pwr::SystemMetadata& metadata() const { return m_metadata; }

    // What deliver sends in all.
    std::size_t elements() const { return m_rounds * m_elementsPerRound; }
    std::size_t messages() const { return m_rounds * m_messages.size(); }

private:
    struct Message {
        host::model::Metric* metric;
        pwr::Metric::Sample sample;
        std::size_t tick;  // within the stretch
    };

    host::model::Metric& addMetric_i(const std::string& name, pwr::Metric::MetricType type,
                                     const pwr::Quantity* quantity);
    const pwr::DataDescriptor* addState_i(const std::string& name);
    host::model::Element& addElement_i(Message& message, std::size_t entity);
    void addEntities_i(std::size_t count);
    void addMetrics_i();
    void addTick_i(std::size_t tick);
    void addSampled_i(host::model::Metric& metric, std::size_t tick);
    void addEvents_i(host::model::Metric& metric, std::size_t tick);
    std::uint64_t random_i();

    WorkSize m_size;
    std::uint64_t m_random = 88172645463325252u;
    unsigned long m_nextId = 1;
    host::model::SystemMetadata m_metadata;
    host::model::Quantity m_rate;
    host::model::Quantity m_count;
    host::model::Quantity m_temperature;
    std::unique_ptr<host::model::Attribute> m_stateAttribute;
    std::vector<std::unique_ptr<host::model::Handle>> m_handles;
    std::vector<std::unique_ptr<host::model::Entity>> m_entities;
    std::vector<std::unique_ptr<host::model::Descriptor>> m_states;
    std::vector<std::unique_ptr<host::model::Descriptor>> m_events;
    std::vector<std::unique_ptr<host::model::Metric>> m_metrics;
    std::vector<std::unique_ptr<host::model::Element>> m_elements;
    std::vector<Message> m_messages;
    std::size_t m_elementsPerRound = 0;
    std::size_t m_rounds = 0;
};

// Gives all of the work to the writer, and takes the times up to its last message and from there to the end.
// Ends the process if the writer fails.
void runWriter(WriterPlugin& writer, Work& work, Cost& cost);

// A writer that only reads what the others read of a message, through the host's operations.
class ReadingWriter : public WriterPlugin {
public:
    ReadingWriter();

    std::int32_t init(const std::string& outputName, bool continuous) override;
    std::int32_t fini() override;

    using WriterPlugin::writeMessage;
    std::int32_t writeMessage(const pwr::Metric& metric) override;

    double m_sum = 0;  // keeps the reads from being left out
};

}  // namespace bench
