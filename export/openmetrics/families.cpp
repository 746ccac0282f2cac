#include "export/openmetrics/families.h"

namespace exporting::openmetrics {

namespace {

constexpr std::string_view TOTAL = "total";

Family makeFamily(std::string_view base, FamilyType type, const std::string& unit) {
    Family family{familyName(base, unit), type, unit, {}, {}, {}};
    if (type == FamilyType::Counter && hasSuffix(family.name, TOTAL))
        family.name.resize(family.name.size() - TOTAL.size() - 1);
    family.sampleName = family.name;
    if (type == FamilyType::Counter) (family.sampleName += '_') += TOTAL;
    if (!hasSuffix(family.name, unit)) family.unit.clear();
    return family;
}

}  // namespace

std::size_t Families::find(const pwr::Metric& metric, FamilyType type, const std::string& unit) {
    std::string base = metric.m_name;
    Family family = makeFamily(base, type, unit);
    while (!isFree_i(family)) {
        if (const std::size_t same = sameAs_i(family); same != NONE) return same;
        base += '_' + std::to_string(metric.m_id);
        family = makeFamily(base, type, unit);
    }
    family.help = metric.m_name;
    return add_i(family);
}

bool Families::isFree_i(const Family& family) const {
    return !m_names.contains(family.name) && !m_names.contains(family.sampleName);
}

std::size_t Families::sameAs_i(const Family& family) const {
    const auto found = m_names.find(family.name);
    if (found == m_names.end()) return NONE;
    const Family& other = m_families[found->second];
    const bool isSame = other.name == family.name && other.type == family.type && other.unit == family.unit;
    return isSame ? found->second : NONE;
}

std::size_t Families::add_i(const Family& family) {
    m_names.emplace(family.name, m_families.size());
    m_names.emplace(family.sampleName, m_families.size());
    m_families.push_back(family);
    return m_families.size() - 1;
}

}  // namespace exporting::openmetrics
