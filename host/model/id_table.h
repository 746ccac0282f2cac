#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace host::model {

// A map from ids to objects that others own: open addressing over one flat array, made for look-ups on the
// hot path. Entries are never removed one by one.
template <typename T>
class IdTable {
public:
    // Returns the object of `id`, or null.
    T* find(std::uint64_t id) const {
        if (m_slots.empty()) return nullptr;
        for (std::size_t i = home_i(id);; i = (i + 1) & (m_slots.size() - 1)) {
            const Slot& slot = m_slots[i];
            if (slot.m_object == nullptr) return nullptr;
            if (slot.m_id == id) return slot.m_object;
        }
    }

    // Enters `object`, which is not null, under an id that is not in the table yet.
    void insert(std::uint64_t id, T* object) {
        if (m_count * 2 >= m_slots.size()) grow_i();
        place_i(id, object);
        ++m_count;
    }

    std::size_t size() const { return m_count; }

private:
    struct Slot {
        std::uint64_t m_id = 0;
        T* m_object = nullptr;
    };

    std::size_t home_i(std::uint64_t id) const {
        return static_cast<std::size_t>((id * 0x9E3779B97F4A7C15U) >> m_shift);
    }

    void place_i(std::uint64_t id, T* object) {
        std::size_t i = home_i(id);
        while (m_slots[i].m_object != nullptr) i = (i + 1) & (m_slots.size() - 1);
        m_slots[i] = {id, object};
    }

    void grow_i() {
        std::vector<Slot> old(std::size_t{1} << (65 - m_shift));
        old.swap(m_slots);
        --m_shift;
        for (const Slot& slot : old)
            if (slot.m_object != nullptr) place_i(slot.m_id, slot.m_object);
    }

    std::vector<Slot> m_slots;  // a power of two, at most half full
    std::size_t m_count = 0;
    int m_shift = 59;  // 64 less the logarithm of the number of slots, the first of which are 64
};

}  // namespace host::model
