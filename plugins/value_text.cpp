#include "plugins/value_text.h"

#include "pwr/utilities.h"

namespace {

template <typename Number>
std::string textOf(const Number& value) {
    return pwr::to_string<Number>(value);
}

template <typename Number>
std::string textOf(const std::pair<Number, Number>& range) {
    return textOf(range.first) + " - " + textOf(range.second);
}

template <typename Value>
int readText(const pwr::Data& data, int (pwr::Data::*read)(Value&) const, std::string& out) {
    Value value{};
    if ((data.*read)(value) != 0) return 1;
    out = textOf(value);
    return 0;
}

const pwr::DataDescriptor* descriptorOf(const pwr::Data& value) {
    const pwr::DataHandle* handle = nullptr;
    if (value.toHandle(handle) != 0 || handle == nullptr) return nullptr;
    if (handle->getHandleType() != pwr::HANDLE_DATA_DESCRIPTOR) return nullptr;
    return dynamic_cast<const pwr::DataDescriptor*>(handle);
}

}  // namespace

int getStringFromData(const pwr::Data* data, std::string* out) {
    switch (data->m_type) {
        case pwr::DATA_INT:
            return readText(*data, &pwr::Data::toInt, *out);
        case pwr::DATA_UINT:
            return readText(*data, &pwr::Data::toUInt, *out);
        case pwr::DATA_REAL:
            return readText(*data, &pwr::Data::toReal, *out);
        case pwr::DATA_INT_RANGE:
            return readText(*data, &pwr::Data::toIntRange, *out);
        case pwr::DATA_UINT_RANGE:
            return readText(*data, &pwr::Data::toUIntRange, *out);
        case pwr::DATA_REAL_RANGE:
            return readText(*data, &pwr::Data::toRealRange, *out);
        case pwr::DATA_STRING:
            return data->toString(*out) == 0 ? 0 : 1;
        default:
            return 1;
    }
}

int getFirstDataAttributeAsString(const pwr::AttributeValueManager* manager, std::string* out) {
    const auto first = manager->begin();
    if (first == manager->end() || first->first == nullptr) return 1;
    return getStringFromData(&first->second, out);
}

std::string getState(const pwr::DataElement* element, bool traced) {
    std::string state;
    const pwr::DataDescriptor* descriptor = nullptr;
    if (traced) {
        element->getValue()->toFormattedString(state);
        descriptor = descriptorOf(*element->getValue());
    } else {
        descriptor = element->getDescriptor();
    }
    if (descriptor == nullptr) return state;
    if (getFirstDataAttributeAsString(descriptor, &state) != 0) state = descriptor->getName();
    return state;
}

const char* getTypeString(pwr::Metric::MetricType type) {
    static const char* const names[] = {"SAMPLED_DELTA", "SAMPLED_RESIDENCY", "SAMPLED_VALUE",
                                        "TRACED_VALUE_TRANSITION", "TRACED_EVENT"};
    return type <= pwr::Metric::TRACED_EVENT ? names[type] : "UNKNOWN";
}

std::string nameOf(const pwr::DataHandle* handle) {
    return handle != nullptr ? handle->getName() : std::string();
}
