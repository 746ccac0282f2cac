#include "export/value_reading.h"

#include <utility>

#include "plugins/numbers.h"
#include "pwr/data_descriptor.h"
#include "pwr/quantity.h"

namespace exporting {

namespace {

template <typename Number>
ValueKind readRange(const pwr::Data& data, int (pwr::Data::*read)(std::pair<Number, Number>&) const,
                    Value& out) {
    std::pair<Number, Number> range{};
    if ((data.*read)(range) != 0) return ValueKind::None;
    out.low = static_cast<double>(range.first);
    out.high = static_cast<double>(range.second);
    return ValueKind::Range;
}

ValueKind readName(const pwr::Data& data, std::string& name) {
    const pwr::DataHandle* handle = nullptr;
    if (data.toHandle(handle) != 0 || handle == nullptr) return ValueKind::None;
    name = handle->getName();
    return ValueKind::Text;
}

}  // namespace

void readValue(const pwr::Data& data, Value& out) {
    switch (data.m_type) {
        case pwr::DATA_INT_RANGE:
            out.kind = readRange(data, &pwr::Data::toIntRange, out);
            break;
        case pwr::DATA_UINT_RANGE:
            out.kind = readRange(data, &pwr::Data::toUIntRange, out);
            break;
        case pwr::DATA_REAL_RANGE:
            out.kind = readRange(data, &pwr::Data::toRealRange, out);
            break;
        case pwr::DATA_HANDLE:
            out.kind = readName(data, out.text);
            break;
        case pwr::DATA_STRING:
            out.kind = data.toString(out.text) == 0 ? ValueKind::Text : ValueKind::None;
            break;
        default:
            out.kind = readNumber(data, out.low) ? ValueKind::Number : ValueKind::None;
    }
}

std::string_view itemOf(const pwr::DataElement& element) {
    const pwr::DataDescriptor* const descriptor = element.getDescriptor();
    return descriptor != nullptr ? std::string_view(descriptor->getName()) : std::string_view();
}

std::string_view unitsOf(const pwr::Metric& metric) {
    return metric.m_quantity != nullptr ? std::string_view(metric.m_quantity->toUnitsString())
                                        : std::string_view();
}

bool isResidency(const pwr::Metric& metric) {
    return metric.m_metricType == pwr::Metric::SAMPLED_RESIDENCY;
}

}  // namespace exporting
