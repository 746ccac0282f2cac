#pragma once

#include <cstdint>
#include <deque>

#include "plugins/flat_map.h"

namespace vyrta {

// A hash table from handles (by address) or ids to what has been worked out for them, in front of the
// writer's ordered maps. Values are made on first access and stay where they are. It is never iterated, so
// that nothing depends on addresses.
template <typename Value>
class KeyCache {
public:
    Value& operator[](const void* key) {
        return (*this)[std::uint64_t{reinterpret_cast<std::uintptr_t>(key)}];
    }

    Value& operator[](std::uint64_t key) {
        Value* const* const found = m_places.find(key);
        return found != nullptr ? **found : add_i(key);
    }

    void clear() {
        m_places = {};
        m_values.clear();
    }

private:
    Value& add_i(std::uint64_t key) {
        Value& value = m_values.emplace_back();
        m_places[key] = &value;
        return value;
    }

    FlatMap<std::uint64_t, Value*> m_places;
    std::deque<Value> m_values;
};

}  // namespace vyrta
