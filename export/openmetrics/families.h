#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "export/openmetrics/series.h"

namespace exporting::openmetrics {

enum class FamilyType : std::uint8_t { Gauge, Counter };

// Series with the same name, of which the format wants to be told once.
struct Family {
    std::string name;
    FamilyType type;
    std::string unit;        // in which the name ends; or empty
    std::string sampleName;  // the name in front of the values: of a counter with "_total"
    std::string help;
    std::vector<std::size_t> series;  // in order of first appearance; numbers in the list of all
};

// The families of a run, in order of first appearance. No two have a name in common.
class Families {
public:
    // The number of the family for values of that type and unit of the metric, made on first use. Metrics of
    // the same name share a family if type and unit agree; otherwise a later one has its id in the name.
    std::size_t find(const pwr::Metric& metric, FamilyType type, const std::string& unit);

    std::size_t size() const { return m_families.size(); }
    Family& at(std::size_t number) { return m_families[number]; }

private:
    static constexpr std::size_t NONE = SIZE_MAX;

    bool isFree_i(const Family& family) const;
    std::size_t sameAs_i(const Family& family) const;
    std::size_t add_i(const Family& family);

    std::deque<Family> m_families;
    std::map<std::string, std::size_t, std::less<>> m_names;  // of families and samples, each with its family
};

}  // namespace exporting::openmetrics
