#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

// The states of a series or of a category, numbered from 0 in the order in which they were added.
class StateTable {
public:
    StateTable() = default;

    // `names` must differ.
    explicit StateTable(const std::vector<std::string>& names);
    StateTable(const StateTable&) = delete;
    StateTable& operator=(const StateTable&) = delete;

    // The state's id, a new one if the name is not there yet.
    std::uint32_t add(const std::string& name);

    // The state's id. REQUIRES: the name is there.
    std::uint32_t getId(const std::string& name) const { return m_ids.find(name)->second; }

    // The names, by id. They stay where they are as long as the table lives.
    const std::vector<const std::string*>& getNames() const { return m_names; }

private:
    std::unordered_map<std::string, std::uint32_t> m_ids;
    std::vector<const std::string*> m_names;  // the keys of m_ids
};
