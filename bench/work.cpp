#include "bench/work.h"

#include <algorithm>
#include <cstdlib>

#include "pwr/pwr.h"

namespace bench {

using host::model::HandleTexts;

namespace {

constexpr std::uint64_t TICKS_PER_SAMPLE = 2400000;  // TSC ticks: a millisecond
constexpr std::size_t EVENTS_PER_TICK = 4;           // of each traced metric

pwr::Metric::MetricType typeOf(std::size_t kind) {
    constexpr pwr::Metric::MetricType TYPES[] = {pwr::Metric::SAMPLED_DELTA, pwr::Metric::SAMPLED_RESIDENCY,
                                                 pwr::Metric::SAMPLED_VALUE, pwr::Metric::TRACED_EVENT};
    return TYPES[kind];
}

}  // namespace

Work::Work(const WorkSize& size) : m_size(size), m_rate(2), m_count(1), m_temperature(3) {
    m_metadata.m_tscFrequency = 2400.0f;
    m_metadata.m_cpuFrequency = 2400.0f;
    m_metadata.m_busFrequency = 100.0f;
    m_metadata.m_collectionStart = 1000;
    m_metadata.m_collectionTime = 1700000000000000000;  // some results have no times without it, or are none
    m_metadata.m_platformName = "bench";
    m_rate.m_kind = static_cast<pwr::QuantityType>(2);
    m_rate.m_name = "Rate";
    m_rate.m_units = "/s";
    m_count.m_kind = static_cast<pwr::QuantityType>(1);
    m_count.m_name = "Count";
    m_count.m_units = "#";
    m_count.m_rate = &m_rate;
    m_count.m_rateFactor = 1.0;
    m_temperature.m_kind = pwr::QUANTITY_INSTANTANEOUS;
    m_temperature.m_name = "Temperature";
    m_temperature.m_units = "C";
    m_stateAttribute = std::make_unique<host::model::Attribute>(m_nextId++, HandleTexts("State"), nullptr,
                                                                pwr::ATTRIBUTE_DATA);
    addEntities_i(size.entities);
    for (std::size_t i = 0; i < size.states; ++i) addState_i("C" + std::to_string(i));
    for (std::size_t i = 0; i < size.distinctEvents; ++i)
        m_events.push_back(
            std::make_unique<host::model::Descriptor>(m_nextId++, HandleTexts("Event " + std::to_string(i))));
    addMetrics_i();
    for (std::size_t tick = 0; tick < size.ticks; ++tick) addTick_i(tick);
    m_metadata.m_collectionStop = m_metadata.m_collectionStart;
    m_rounds = (size.elements + m_elementsPerRound - 1) / m_elementsPerRound;
}

void Work::addEntities_i(std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const std::string name = "CPU " + std::to_string(i);
        m_entities.push_back(std::make_unique<host::model::Entity>(m_nextId++, HandleTexts(name),
                                                                   "Package 0/" + name, 1, nullptr));
    }
}

const pwr::DataDescriptor* Work::addState_i(const std::string& name) {
    auto state = std::make_unique<host::model::Descriptor>(m_nextId++, HandleTexts(name));
    state->addAttributeValue(m_stateAttribute.get(), pwr::Data(name));
    m_states.push_back(std::move(state));
    return m_states.back().get();
}

void Work::addMetrics_i() {
    const pwr::Quantity* const quantities[] = {&m_count, pwr::Quantity::time(), &m_temperature, nullptr};
    const char* const names[] = {"Counter", "Residency", "Reading", "Event"};
    for (std::size_t kind = 0; kind < 4; ++kind)
        for (std::size_t i = 0; i < m_size.metricsOfAKind; ++i)
            addMetric_i(names[kind] + std::string(" ") + std::to_string(i), typeOf(kind), quantities[kind]);
}

host::model::Metric& Work::addMetric_i(const std::string& name, pwr::Metric::MetricType type,
                                       const pwr::Quantity* quantity) {
    m_handles.push_back(std::make_unique<host::model::Handle>(m_nextId++, HandleTexts(name + " value"), 1));
    auto metric = std::make_unique<host::model::Metric>();
    metric->m_name = name;
    metric->m_groupName = "bench";
    metric->m_metricType = type;
    metric->m_quantity = quantity;
    metric->m_valueHandle = m_handles.back().get();
    metric->m_stateHandle = m_handles.back().get();
    metric->m_entityHandle = m_handles.back().get();
    metric->m_id = 100 + static_cast<std::uint32_t>(m_metrics.size());
    metric->m_tableClass = pwr::REAL_TABLE_CLASS_NONE;
    metric->m_hasEntityAttributes = false;
    if (type == pwr::Metric::SAMPLED_RESIDENCY)
        for (const auto& state : m_states)
            metric->m_attributeDescriptors.emplace_back(m_stateAttribute.get(), state.get());
    for (const auto& entity : m_entities) metric->m_entities.push_back(entity.get());
    m_metrics.push_back(std::move(metric));
    return *m_metrics.back();
}

void Work::addTick_i(std::size_t tick) {
    for (const auto& metric : m_metrics) {
        if (metric->m_metricType == pwr::Metric::TRACED_EVENT) {
            addEvents_i(*metric, tick);
        } else {
            addSampled_i(*metric, tick);
        }
    }
}

void Work::addSampled_i(host::model::Metric& metric, std::size_t tick) {
    Message message{&metric, {}, tick};
    for (std::size_t entity = 0; entity < m_entities.size(); ++entity) {
        if (m_size.perMessage != 0 && entity != 0 && entity % m_size.perMessage == 0) {
            m_messages.push_back(std::move(message));
            message = {&metric, {}, tick};
        }
        if (metric.m_metricType == pwr::Metric::SAMPLED_DELTA) {
            host::model::Element& element = addElement_i(message, entity);
            element.m_descriptor = m_states.front().get();
            element.m_value.setUInt(random_i() % 100000);
        } else if (metric.m_metricType == pwr::Metric::SAMPLED_VALUE) {
            addElement_i(message, entity).m_value.setReal(static_cast<double>(random_i() % 10000) / 100.0);
        } else {
            for (const auto& state : m_states) {
                host::model::Element& element = addElement_i(message, entity);
                element.m_descriptor = state.get();
                element.m_value.setUInt(random_i() % (TICKS_PER_SAMPLE / m_states.size()));
            }
        }
    }
    m_messages.push_back(std::move(message));
}

void Work::addEvents_i(host::model::Metric& metric, std::size_t tick) {
    for (std::size_t i = 0; i < EVENTS_PER_TICK; ++i) {
        Message message{&metric, {}, tick * EVENTS_PER_TICK + i};
        host::model::Element& element = addElement_i(message, random_i() % m_entities.size());
        element.m_value.setHandle(m_events[random_i() % m_events.size()].get());
        element.m_duration = 0;
        m_messages.push_back(std::move(message));
    }
}

host::model::Element& Work::addElement_i(Message& message, std::size_t entity) {
    m_elements.push_back(std::make_unique<host::model::Element>());
    host::model::Element& element = *m_elements.back();
    element.m_entity = m_entities[entity].get();
    element.m_duration = TICKS_PER_SAMPLE;
    element.m_vyrtaDescriptor = m_states.front().get();
    message.sample.elements.push_back(&element);
    ++m_elementsPerRound;
    return element;
}

std::uint64_t Work::random_i() {
    m_random ^= m_random << 13;
    m_random ^= m_random >> 7;
    m_random ^= m_random << 17;
    return m_random;
}

bool Work::deliver(WriterPlugin& writer) {
    pwr::SystemMessage system;
    system.m_id = 1;
    system.m_metadata = &m_metadata;
    bool succeeded = writer.writeMessage(system) == 0;
    for (std::size_t round = 0; round < m_rounds; ++round) {
        for (Message& message : m_messages) {
            const bool traced = message.metric->m_metricType == pwr::Metric::TRACED_EVENT;
            const std::uint64_t step = traced ? TICKS_PER_SAMPLE / EVENTS_PER_TICK : TICKS_PER_SAMPLE;
            message.sample.timestamp = m_metadata.m_collectionStart +
                                       round * m_size.ticks * TICKS_PER_SAMPLE + (message.tick + 1) * step;
            message.metric->m_sample = &message.sample;
            succeeded &= writer.writeMessage(*message.metric) == 0;
        }
    }
    return succeeded;
}

void runWriter(WriterPlugin& writer, Work& work, Cost& cost) {
    if (writer.init("run", false) != 0) std::_Exit(1);
    const double before = bytesWritten();
    const double start = cpuNs();
    const bool delivered = work.deliver(writer);
    cost.ingestNs = cpuNs() - start;
    cost.spools = static_cast<double>(openSpools());
    const double delivery = cpuNs();
    const bool finished = writer.fini() == 0;
    cost.finiNs = cpuNs() - delivery;
    cost.written = bytesWritten() - before;
    // Some stores go to their files only when they are read back.
    cost.spools = std::max(cost.spools, static_cast<double>(openSpools()));
    if (!delivered || !finished) std::_Exit(1);
}

ReadingWriter::ReadingWriter() : WriterPlugin("reader") {}

std::int32_t ReadingWriter::init(const std::string&, bool) {
    return 0;
}

std::int32_t ReadingWriter::fini() {
    return 0;
}

std::int32_t ReadingWriter::writeMessage(const pwr::Metric& metric) {
    const pwr::Metric::Sample& sample = metric.getData();
    for (const pwr::DataElement* element : sample.elements) {
        const pwr::EntityHandle* entity = element->getEntity();
        const pwr::DataDescriptor* descriptor = element->getDescriptor();
        m_sum += static_cast<double>(entity->getId() + entity->getName().size() + element->getDuration());
        if (descriptor != nullptr) m_sum += static_cast<double>(descriptor->getName().size());
        const pwr::Data* value = element->getValue();
        pwr::Data real(0.0);
        double number = 0;
        if (real.convertToReal(value) == 0 && real.toReal(number) == 0) m_sum += number;
    }
    return 0;
}

}  // namespace bench
