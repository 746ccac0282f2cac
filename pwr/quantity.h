#pragma once

#include <cstdint>
#include <string>

#include "pwr/api.h"
#include "pwr/unique_id.h"

namespace pwr {

// The kind of a quantity. 1 to 13 are the host's kinds; what each of them measures is the host's matter.
enum QuantityType : std::uint8_t {
    QUANTITY_NONE = 0,           // no physical quantity
    QUANTITY_LAST_VALID = 13,    // kinds above mean nothing to the import format
    QUANTITY_INSTANTANEOUS = 9,  // sampled values of this kind carry no duration of their own
};

// What a metric or an attribute measures, and in which units. Owned by the host.
class PWR_HOST_API Quantity {
public:
    QuantityType toQuantity() const;
    const std::string& toQuantityString() const;  // the name of the kind
    const std::string& toUnitsString() const;     // may be empty, may be "%"

    // Replaces `out` by a title such as "Energy (uJ)".
    void toTitleString(std::string& out) const;

    // If this quantity has a rate form, fills `rateQuantity` (owned by the host) and `factor`, and returns 0:
    // a value times `factor`, divided by its duration in seconds, is in the units of `rateQuantity`.
    // Otherwise returns non-zero and leaves both alone.
    int getRateConversion(const Quantity*& rateQuantity, double& factor) const;

    // The quantity of time. Never null.
    static const Quantity* time();

    // The id, unique among all quantities of the run.
    unsigned long getId() const { return m_id.getId(); }

protected:
    explicit Quantity(unsigned long id) : m_id(id) {}
    ~Quantity() = default;

private:
    UniqueId m_id;
};

}  // namespace pwr
