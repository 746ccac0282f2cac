#pragma once

#include <cstdint>

namespace pwr {

// The identity of a handle or a quantity, unique among its kind for the whole run.
class UniqueId {
public:
    explicit UniqueId(unsigned long id = 0) : m_id(id) {}

    // Returns the id. Never fails.
    unsigned long getId() const { return m_id; }

private:
    unsigned long m_id;
};

}  // namespace pwr
