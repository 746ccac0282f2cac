#include "continuous/element_reading.h"

namespace {

template <typename Number>
void readNumber(const pwr::Data& data, int (pwr::Data::*read)(Number&) const, ElementReading& out) {
    Number number{};
    if ((data.*read)(number) == 0) out.value = static_cast<double>(number);
}

template <typename Number>
void readRange(const pwr::Data& data, int (pwr::Data::*read)(std::pair<Number, Number>&) const,
               ElementReading& out) {
    std::pair<Number, Number> range{};
    (data.*read)(range);
    out.value = static_cast<double>(range.first);
    out.value2 = static_cast<double>(range.second);
    out.isRange = true;
}

// Makes the numbers of `data` real. What is no number leaves the value 0.
void readNumbers(const pwr::Data& data, ElementReading& out) {
    switch (data.m_type) {
        case pwr::DATA_INT:
            return readNumber(data, &pwr::Data::toInt, out);
        case pwr::DATA_UINT:
            return readNumber(data, &pwr::Data::toUInt, out);
        case pwr::DATA_REAL:
            return readNumber(data, &pwr::Data::toReal, out);
        case pwr::DATA_INT_RANGE:
            return readRange(data, &pwr::Data::toIntRange, out);
        case pwr::DATA_UINT_RANGE:
            return readRange(data, &pwr::Data::toUIntRange, out);
        case pwr::DATA_REAL_RANGE:
            return readRange(data, &pwr::Data::toRealRange, out);
        default:
            return;
    }
}

void readSampledValue(const pwr::Data& data, double duration, ElementReading& out) {
    if (data.m_type == pwr::DATA_STRING) {
        out.stateOrigin = StateOrigin::Text;
        out.value = duration;
    } else if (data.m_type == pwr::DATA_HANDLE) {
        const pwr::DataHandle* const handle = handleOf(data);
        if (handle != nullptr && handle->getHandleType() != pwr::HANDLE_DATA_DESCRIPTOR) return;
        out.stateOrigin = StateOrigin::DescriptorInValue;
        out.handle = handle;
        out.value = duration;
    } else {
        out.hasStates = false;
        readNumbers(data, out);
    }
}

}  // namespace

bool isTraced(pwr::Metric::MetricType type) {
    return type == pwr::Metric::TRACED_VALUE_TRANSITION || type == pwr::Metric::TRACED_EVENT;
}

bool isInstant(const pwr::Metric& metric) {
    if (metric.m_metricType == pwr::Metric::TRACED_EVENT) return true;
    if (metric.m_metricType != pwr::Metric::SAMPLED_VALUE) return false;
    return metric.m_quantity == nullptr || metric.m_quantity->toQuantity() == pwr::QUANTITY_INSTANTANEOUS;
}

ElementReading readElement(pwr::Metric::MetricType type, const pwr::DataElement& element,
                           std::uint64_t duration, double tickFactor) {
    ElementReading reading;
    const double length = static_cast<double>(duration);
    switch (type) {
        case pwr::Metric::SAMPLED_DELTA:
            reading.hasStates = false;
            readNumbers(*element.getValue(), reading);
            break;
        case pwr::Metric::SAMPLED_RESIDENCY:
            readNumbers(*element.getValue(), reading);
            if (element.getValue()->m_type != pwr::DATA_HANDLE) reading.value *= tickFactor;
            break;
        case pwr::Metric::SAMPLED_VALUE:
            readSampledValue(*element.getValue(), length, reading);
            break;
        case pwr::Metric::TRACED_VALUE_TRANSITION:
            reading.stateOrigin = StateOrigin::TracedValue;
            reading.value = length;
            break;
        case pwr::Metric::TRACED_EVENT:
            reading.stateOrigin = StateOrigin::TracedValue;
            reading.value = 1.0;
            break;
        default:
            break;
    }
    return reading;
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
