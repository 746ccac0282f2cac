#pragma once

#include <cstdint>
#include <utility>
#include <vector>

// The content of a point: pairs of a state's id and a value, in the order in which they were added. An id may
// occur more than once; a range is two pairs of the same id, the low end first.
class Value {
public:
    using Pair = std::pair<std::uint32_t, double>;

    Value() = default;
    Value(unsigned int id, double value) { addValue(id, value); }

    void addValue(unsigned int id, double value) { m_values.emplace_back(id, value); }

    // Replaces each id by the entry of `map` at it.
    void remapValues(const std::vector<unsigned int>& map) {
        for (Pair& pair : m_values) pair.first = map[pair.first];
    }

    const std::vector<Pair>& getValues() const { return m_values; }

    // Takes all pairs out, and keeps their memory for the next ones.
    void clear() { m_values.clear(); }

private:
    std::vector<Pair> m_values;
};
