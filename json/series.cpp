#include "json/series.h"

#include <utility>

Series::Series(const std::string& category, std::vector<JsonUnit> units, const std::string& key,
               const std::string& name, pwr::Metric::MetricType type, bool hasStates)
    : m_category(category),
      m_units(std::move(units)),
      m_name(name),
      m_key(key),
      m_type(type),
      m_hasStates(hasStates) {}

const std::vector<const std::string*>& Series::getStates() const {
    return m_newStates != nullptr ? m_newStates->getNames() : m_states.getNames();
}

void Series::updateStates(const std::shared_ptr<const StateTable>& newStates) {
    std::vector<unsigned int> map;
    map.reserve(getStates().size());
    for (const std::string* name : getStates()) map.push_back(newStates->getId(*name));
    m_data.remapIds(map);
    m_newStates = newStates;
}
