#include "overtime/column_titles.h"

namespace overtime {

std::string unitsSuffix(const pwr::Quantity* quantity) {
    return quantity != nullptr ? " (" + quantity->toUnitsString() + ")" : std::string();
}

std::string descriptorTitle(const pwr::DataDescriptor& descriptor) {
    std::string title = descriptor.getName();
    if (descriptor.getAttributeCount() != 0) {
        std::string value;
        descriptor.begin()->second.toFormattedString(value);
        title += " (" + value + ")";
    }
    return title;
}

std::string qualifiedNameOf(const pwr::DataHandle* handle) {
    return handle != nullptr ? handle->getQualifiedName() : std::string();
}

std::string entityTitle(const pwr::Metric& metric, const pwr::EntityHandle& entity) {
    return entity.getName().empty() ? metric.m_name : metric.m_name + " - " + entity.getQualifiedName();
}

}  // namespace overtime
