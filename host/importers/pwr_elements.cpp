#include "host/importers/pwr_elements.h"

#include "pwr/bin/pwr_records.h"

namespace host::importers {

using namespace vyrta;
using inspect::PwrRecord;

bool isLowerBound(std::uint32_t type) {
    return type == ATTRIBUTE_KIND_INT_LOWER_BOUND || type == ATTRIBUTE_KIND_UINT_LOWER_BOUND ||
           type == ATTRIBUTE_KIND_REAL_LOWER_BOUND;
}

PwrMetricRecord metricOf(const PwrRecord& record) {
    const inspect::PwrMetric metric = readMetric(record);
    return {metric.id,       metric.metricClass,   metric.quantity,
            metric.tabGroup, metric.timelineGroup, std::string(metric.name)};
}

std::vector<PwrAttribute> attributesOf(const PwrRecord& record) {
    inspect::PwrSample sample = readSample(record);
    std::vector<PwrAttribute> attributes(sample.count);
    for (PwrAttribute& attribute : attributes) attribute = sample.next();
    return attributes;
}

bool isInfo(const PwrAttribute& attribute) {
    return attribute.type == ATTRIBUTE_KIND_PROCESS || attribute.type == ATTRIBUTE_KIND_THREAD ||
           attribute.type == ATTRIBUTE_KIND_INFO;
}

void PwrElement::measureValue() {
    if (measured.empty()) {
        measured.push_back({ATTRIBUTE_KIND_QUANTITY, NO_ID});
        measured.insert(measured.end(), value.begin(), value.end());
    }
    value.clear();
}

std::vector<PwrElement> elementsOf(const std::vector<PwrAttribute>& attributes) {
    std::vector<PwrElement> elements;
    std::uint64_t entity = 0;
    bool isInElement = false;
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        const PwrAttribute& attribute = attributes[i];
        if (attribute.type == ATTRIBUTE_KIND_ENTITY) {
            entity = attribute.value;
            isInElement = false;
        } else if (attribute.type == ATTRIBUTE_KIND_FIELD) {
            PwrElement& element = elements.emplace_back();
            element.entity = entity;
            element.field = attribute.value;
            isInElement = true;
        } else if (isInElement) {
            PwrElement& element = elements.back();
            element.endsInInfo = isInfo(attribute);
            if (attribute.type == ATTRIBUTE_KIND_DURATION) {
                element.duration = attribute.value;
            } else if (isInfo(attribute)) {
                if (!element.value.empty()) element.measureValue();
                element.infos.push_back(attribute);
            } else if (attribute.type == ATTRIBUTE_KIND_QUANTITY) {
                element.measured.push_back(attribute);
                if (i + 1 < attributes.size()) element.measured.push_back(attributes[++i]);
                if (isLowerBound(element.measured.back().type) && i + 1 < attributes.size())
                    element.measured.push_back(attributes[++i]);
            } else if (attribute.type != ATTRIBUTE_KIND_COLOR) {
                if (!element.value.empty() && !isLowerBound(element.value.back().type))
                    element.measureValue();
                element.value.push_back(attribute);
            }
        }
    }
    return elements;
}

}  // namespace host::importers
