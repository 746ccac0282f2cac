#pragma once

#include <cstdint>
#include <string>

#include "host/emit/output.h"

namespace host::importers {

// Lines that define what the values of a result refer to.
class HandleLines {
public:
    using Id = std::uint32_t;

    // A quantity of a result, as far as that gives it.
    struct Quantity {
        std::string name, units;
        unsigned kind = 0;
        Id rate = 0;  // the quantity that it is converted to, 0: none
        double factor = 1;
    };

    explicit HandleLines(emit::Output& output) : m_output(output) {}

    // An id for a handle that has none yet.
    Id newId() { return m_nextHandle++; }

    // Define an entity, by an id of its own or one that is given.
    Id entity(const std::string& name) { return entity(newId(), name); }
    Id entity(Id id, const std::string& name);

    // Defines a descriptor. Its first attribute names its state, if `state` is not null; writers take that
    // for the state, and without one the descriptor's name.
    Id descriptor(const std::string& name, const std::string* state);

    Id quantity(const Quantity& quantity);

private:
    emit::Output& m_output;
    Id m_nextHandle = 1;
    Id m_nextQuantity = 1;
    Id m_stateAttribute = 0;
};

}  // namespace host::importers
