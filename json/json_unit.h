#pragma once

#include <string>

// One unit in which the values of a series can be shown.
class JsonUnit {
public:
    // `name` is the quantity's, `conversion` the factor from the stored values to this unit. A calculated
    // rate is worked out from the stored value and the length of the point's interval.
    JsonUnit(const std::string& name, const std::string& units, double conversion,
             bool calculatedRate = false)
        : m_name(name), m_units(units), m_rateConversion(conversion), m_calculatedRate(calculatedRate) {}

    const std::string& getName() const { return m_name; }
    const std::string& getUnits() const { return m_units; }
    double getRateConversion() const { return m_rateConversion; }
    bool isCalculatedRate() const { return m_calculatedRate; }

private:
    std::string m_name;
    std::string m_units;
    double m_rateConversion;
    bool m_calculatedRate;
};
