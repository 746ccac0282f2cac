// What the columns of each metric stand for.
#include "overtime/column_titles.h"
#include "overtime/phmwriter_text_plugin.h"
#include "plugins/log.h"

std::int32_t PhmTextWriter::processMetaData(const pwr::Metric& metric) {
    if (m_metadata.find(metric.m_name) == m_metadata.end()) describeColumns_i(metric);
    if (m_metadata.empty()) {
        LOG_DEBUG("%s: No phm metadata available for %s\n",
                  "int PhmTextWriter::processMetaData(const pwr::Metric &)", metric.m_name.c_str());
    }
    return 0;
}

// The legend, then the columns of the first entity. The metric's entry comes into being with its first cell.
void PhmTextWriter::describeColumns_i(const pwr::Metric& metric) {
    if (!metric.m_legendValues.empty()) m_metadata[metric.m_name] = metric.m_legendValues;
    const pwr::EntityHandle* const first = metric.m_entities.empty() ? nullptr : metric.m_entities.front();
    for (const auto& [entity, descriptor] : metric.m_attributeDescriptors) {
        if (entity != nullptr && (first == nullptr || entity->getId() != first->getId())) continue;
        if (descriptor == nullptr) continue;
        LOG_DEBUG("descriptor: %s\n", descriptor->getName().c_str());
        if (descriptor->getAttributeCount() != 0 && isLogged(LogLevel::Debug)) {
            std::string value;
            descriptor->begin()->second.toFormattedString(value);
            LOG_DEBUG("attribute is %s\n", value.c_str());
        }
        std::string text = overtime::descriptorTitle(*descriptor);
        if (entity != nullptr) text.insert(0, entity->getQualifiedName() + " ");
        m_metadata[metric.m_name].emplace_back(text);
    }
}
