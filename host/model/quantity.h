#pragma once

#include <string>

#include "pwr/quantity.h"

namespace host::model {

// A quantity with its content.
class Quantity : public pwr::Quantity {
public:
    explicit Quantity(unsigned long id) : pwr::Quantity(id) {}

    pwr::QuantityType m_kind = pwr::QUANTITY_NONE;
    std::string m_name;
    std::string m_units;
    std::string m_title;
    const pwr::Quantity* m_rate = nullptr;  // null if there is no rate form
    double m_rateFactor = 0.0;
};

}  // namespace host::model
