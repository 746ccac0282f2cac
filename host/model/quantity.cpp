#include "host/model/quantity.h"

#include "host/model/registry.h"

namespace pwr {

namespace {

const host::model::Quantity& contentOf(const Quantity* quantity) {
    return *static_cast<const host::model::Quantity*>(quantity);
}

}  // namespace

QuantityType Quantity::toQuantity() const {
    return contentOf(this).m_kind;
}

const std::string& Quantity::toQuantityString() const {
    return contentOf(this).m_name;
}

const std::string& Quantity::toUnitsString() const {
    return contentOf(this).m_units;
}

void Quantity::toTitleString(std::string& out) const {
    out = contentOf(this).m_title;
}

int Quantity::getRateConversion(const Quantity*& rateQuantity, double& factor) const {
    const host::model::Quantity& content = contentOf(this);
    if (content.m_rate == nullptr) return 1;
    rateQuantity = content.m_rate;
    factor = content.m_rateFactor;
    return 0;
}

const Quantity* Quantity::time() {
    return host::model::Registry::instance().timeQuantity();
}

}  // namespace pwr
