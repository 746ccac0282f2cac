#include "plugins/element_reading.h"

#include "plugins/log.h"
#include "plugins/value_text.h"

bool isTraced(pwr::Metric::MetricType type) {
    return type == pwr::Metric::TRACED_VALUE_TRANSITION || type == pwr::Metric::TRACED_EVENT;
}

bool isInstant(const pwr::Metric& metric) {
    if (metric.m_metricType == pwr::Metric::TRACED_EVENT) return true;
    if (metric.m_metricType != pwr::Metric::SAMPLED_VALUE) return false;
    return metric.m_quantity == nullptr || metric.m_quantity->toQuantity() == pwr::QUANTITY_INSTANTANEOUS;
}

const pwr::DataDescriptor* asDescriptor(const pwr::DataHandle* handle) {
    if (handle == nullptr || handle->getHandleType() != pwr::HANDLE_DATA_DESCRIPTOR) return nullptr;
    return dynamic_cast<const pwr::DataDescriptor*>(handle);
}

const pwr::DataHandle* handleOf(const pwr::Data& value) {
    const pwr::DataHandle* handle = nullptr;
    value.toHandle(handle);
    return handle;
}

std::string stateOf(const pwr::DataElement& element, const ElementReading& reading) {
    std::string text;
    switch (reading.stateOrigin) {
        case StateOrigin::Text:
            element.getValue()->toString(text);
            return text;
        case StateOrigin::DescriptorInValue:
            return reading.handle->getName();
        default:
            return getState(&element, reading.stateOrigin == StateOrigin::TracedValue);
    }
}

void logElement(const char* tag, pwr::Metric::MetricType type, const pwr::DataElement& element,
                const ElementReading& reading, const std::string& state) {
    std::string key = element.getEntity()->getName();
    std::string name = key;
    if (type == pwr::Metric::SAMPLED_DELTA) {
        key += ' ' + state;
        name = state;
    }
    LOG_INFO_TAG(tag, "key = %s, name = %s, state = %s, hasStates = %s, Value = %.2f\n", key.c_str(),
                 name.c_str(), state.c_str(), reading.hasStates ? "TRUE" : "FALSE", reading.value);
}
