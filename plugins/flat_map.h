// A hash map for the look-ups that happen with every element: open addressing in one block of memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// Many keys are two ids side by side: the upper one counts in all bits, too.
inline std::uint64_t hashOf(std::uint64_t key) {
    return (key ^ key >> 32) * 0x9E3779B97F4A7C15u;
}

inline std::uint64_t hashOf(const void* key) {
    return hashOf(std::uint64_t{reinterpret_cast<std::uintptr_t>(key)});
}

// Keys are cheap values with == and a hashOf; values are cheap and default-constructible. Entries stay.
// Pointers to values hold until the next insertion.
template <typename Key, typename Value>
class FlatMap {
public:
    // Returns the value of `key`, or null.
    const Value* find(const Key& key) const {
        if (m_slots.empty()) return nullptr;
        const Slot& slot = m_slots[placeOf(key)];
        return slot.used ? &slot.value : nullptr;
    }

    std::size_t size() const { return m_count; }

    // Returns the value of `key`, which is entered with a zero value if it is absent.
    Value& operator[](const Key& key) {
        if (m_count * 2 >= m_slots.size()) grow();
        Slot& slot = m_slots[placeOf(key)];
        if (!slot.used) {
            slot = Slot{key, Value{}, true};
            ++m_count;
        }
        return slot.value;
    }

private:
    struct Slot {
        Key key{};
        Value value{};
        bool used = false;
    };

    // The slot that holds `key`, or the free one where it belongs.
    std::size_t placeOf(const Key& key) const {
        const std::size_t mask = m_slots.size() - 1;
        std::size_t place = static_cast<std::size_t>(hashOf(key) >> 32) & mask;
        while (m_slots[place].used && !(m_slots[place].key == key)) place = (place + 1) & mask;
        return place;
    }

    void grow() {
        std::vector<Slot> old(m_slots.empty() ? 8 : m_slots.size() * 2);
        old.swap(m_slots);
        for (const Slot& slot : old)
            if (slot.used) m_slots[placeOf(slot.key)] = slot;
    }

    std::vector<Slot> m_slots;  // none, or a power of two
    std::size_t m_count = 0;
};
