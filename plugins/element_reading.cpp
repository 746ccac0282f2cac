#include "plugins/element_reading.h"

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
