#include "json/state_table.h"

StateTable::StateTable(const std::vector<std::string>& names) {
    for (const std::string& name : names) add(name);
}

std::uint32_t StateTable::add(const std::string& name) {
    // Both containers get a new name, or none when memory runs out.
    if (m_names.size() == m_names.capacity()) m_names.reserve(2 * m_names.size() + 1);
    const auto [state, isNew] = m_ids.try_emplace(name, static_cast<std::uint32_t>(m_names.size()));
    if (isNew) m_names.push_back(&state->first);
    return state->second;
}
