#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

// A hash table from handles (by address) or ids to what has been worked out for them, in front of the
// writer's ordered maps. Values are made on first access and stay where they are. It is never iterated, so
// that nothing depends on addresses.
template <typename Value>
class KeyCache {
public:
    Value& operator[](const void* key) { return (*this)[reinterpret_cast<std::uintptr_t>(key)]; }

    Value& operator[](std::uint64_t key) {
        if (!m_slots.empty()) {
            const Slot* const slot = find_i(key);
            if (slot->value != nullptr) return *slot->value;
        }
        return add_i(key);
    }

    void clear() {
        m_slots.clear();
        m_values.clear();
    }

private:
    struct Slot {
        std::uint64_t key;
        Value* value;  // null in a free slot
    };

    Slot* find_i(std::uint64_t key) {
        const std::size_t mask = m_slots.size() - 1;
        std::size_t at = (key * 0x9E3779B97F4A7C15U >> 32) & mask;
        while (m_slots[at].value != nullptr && m_slots[at].key != key) at = (at + 1) & mask;
        return &m_slots[at];
    }

    Value& add_i(std::uint64_t key) {
        if (m_values.size() * 2 >= m_slots.size()) grow_i();
        Value& value = m_values.emplace_back();
        *find_i(key) = {key, &value};
        return value;
    }

    void grow_i() {
        std::vector<Slot> old(m_slots.empty() ? 16 : m_slots.size() * 2);
        old.swap(m_slots);
        for (const Slot& slot : old)
            if (slot.value != nullptr) *find_i(slot.key) = slot;
    }

    std::vector<Slot> m_slots;  // a power of two, at most half of them in use
    std::deque<Value> m_values;
};
