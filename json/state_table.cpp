#include "json/state_table.h"

StateTable::StateTable(const std::vector<std::string>& names) {
    for (const std::string& name : names) add(name);
}

std::uint32_t StateTable::add(const std::string& name) {
    const auto [state, isNew] = m_ids.try_emplace(name, static_cast<std::uint32_t>(m_names.size()));
    if (isNew) m_names.push_back(&state->first);
    return state->second;
}
