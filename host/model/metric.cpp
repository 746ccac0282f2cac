#include "host/model/metric.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

#if defined(__SANITIZE_ADDRESS__)
#define HOST_FREES_SAMPLES 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define HOST_FREES_SAMPLES 1
#endif
#endif

namespace host::model {

bool DynamicAttributes::add(unsigned long id, const pwr::Data& value) {
    if (m_spare.empty()) return m_values.emplace(id, value).second;
    auto& node = m_spare.back();
    node.key() = id;
    node.mapped() = value;
    auto added = m_values.insert(std::move(node));
    if (added.inserted)
        m_spare.pop_back();
    else
        node = std::move(added.node);
    return added.inserted;
}

void DynamicAttributes::clear() {
    while (!m_values.empty()) m_spare.push_back(m_values.extract(m_values.begin()));
}

void Element::clear() {
    m_entity = nullptr;
    m_descriptor = nullptr;
    m_vyrtaDescriptor = nullptr;
    m_duration = 0;
    m_value.setNone();
    if (m_hasInfo) m_info.clear();
    m_hasInfo = false;
}

SamplePool::SamplePool() = default;
SamplePool::~SamplePool() = default;

void SamplePool::begin(std::uint64_t timestamp) {
    if (m_sample == nullptr) m_sample = std::make_unique<pwr::Metric::Sample>();
    m_sample->timestamp = timestamp;
    m_sample->elements.clear();
    m_used = 0;
}

Element& SamplePool::append() {
    if (m_used == m_elements.size()) m_elements.push_back(std::make_unique<Element>());
    Element& element = *m_elements[m_used++];
    element.clear();
    m_sample->elements.push_back(&element);
    return element;
}

void SamplePool::release() {
#if defined(HOST_FREES_SAMPLES)
    m_sample.reset();
    m_elements.clear();
#endif
    m_used = 0;
}

}  // namespace host::model

namespace pwr {

const EntityHandle* DataElement::getEntity() const {
    return static_cast<const host::model::Element*>(this)->m_entity;
}

const DataDescriptor* DataElement::getDescriptor() const {
    return static_cast<const host::model::Element*>(this)->m_descriptor;
}

std::uint64_t DataElement::getDuration() const {
    return static_cast<const host::model::Element*>(this)->m_duration;
}

const Data* DataElement::getValue() const {
    return &static_cast<const host::model::Element*>(this)->m_value;
}

const DynamicAttributeValueManager* DataElement::getAdditionalInfo() const {
    const auto* element = static_cast<const host::model::Element*>(this);
    return element->m_hasInfo ? &element->m_info : nullptr;
}

const DataDescriptor* DataElement::getVyrtaDescriptor() const {
    return static_cast<const host::model::Element*>(this)->m_vyrtaDescriptor;
}

Metric::Metric()
    : m_quantity(nullptr),
      m_valueHandle(nullptr),
      m_entityHandle(nullptr),
      m_stateHandle(nullptr),
      m_id(0),
      m_tableClass(REAL_TABLE_CLASS_NONE),
      m_metricType(SAMPLED_DELTA),
      m_hasEntityAttributes(false) {}

Metric::~Metric() = default;

const Metric::Sample& Metric::getData() const {
    const Sample* const sample = static_cast<const host::model::Metric*>(this)->m_sample;
    if (sample == nullptr) {
        std::fprintf(stderr,
                     "host::model::Metric \"%s\" (id %u) is delivered without a sample: m_sample is null\n",
                     m_name.c_str(), m_id);
        std::abort();
    }
    return *sample;
}

}  // namespace pwr
