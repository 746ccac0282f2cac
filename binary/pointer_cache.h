#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// Remembers something small about objects that live for the whole run, found by their address in a few
// instructions. An object may displace another one, so what matters is kept elsewhere too.
template <typename Object, typename Value>
class PointerCache {
public:
    // Null if nothing is remembered about `object`. Valid until the next call of remember.
    Value* find(const Object* object) {
        Slot& slot = m_slots[slotOf_i(object)];
        return slot.object == object && object != nullptr ? &slot.value : nullptr;
    }

    Value* remember(const Object* object, const Value& value) {
        Slot& slot = m_slots[slotOf_i(object)];
        slot = Slot{object, value};
        return &slot.value;
    }

private:
    static constexpr unsigned BITS = 9;

    struct Slot {
        const Object* object;
        Value value;
    };

    static std::size_t slotOf_i(const Object* object) {
        const auto address = reinterpret_cast<std::uintptr_t>(object);
        return static_cast<std::size_t>((address * 0x9E3779B97F4A7C15U) >> (64 - BITS));
    }

    std::array<Slot, std::size_t{1} << BITS> m_slots{};
};
