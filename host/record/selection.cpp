#include "host/record/selection.h"

#include <fnmatch.h>

#include <algorithm>
#include <cctype>
#include <utility>

#include "host/base/duration.h"
#include "host/base/text.h"
#include "host/record/source.h"

namespace host::record {

namespace {

bool matchesAny(const std::vector<std::string>& patterns, const std::string& name) {
    return std::any_of(patterns.begin(), patterns.end(), [&](const std::string& pattern) {
        return fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
    });
}

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    for (char& letter : lower) letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    return lower;
}

bool isSource(const std::string& name) {
    const auto& table = sourceTable();
    return std::any_of(table.begin(), table.end(),
                       [&](const SourceInfo& source) { return name == source.name; });
}

std::string unknownSource(const std::string& name) {
    std::string names;
    std::set<std::string> listed;
    for (const SourceInfo& source : sourceTable())
        if (listed.insert(source.name).second)
            names += (names.empty() ? "" : ", ") + std::string(source.name);
    return "unknown source \"" + name + "\"; there are: " + names;
}

}  // namespace

std::string Selection::setSources(const std::string& list) {
    m_sources.clear();
    std::string_view left = list;
    for (;;) {
        const std::size_t comma = left.find(',');
        const std::string name = lowerCase(base::trimmed(left.substr(0, comma)));
        if (!isSource(name)) return unknownSource(name);
        m_sources.insert(name);
        if (comma == std::string_view::npos) return {};
        left.remove_prefix(comma + 1);
    }
}

std::string Selection::setMetrics(std::vector<std::string> wanted, std::vector<std::string> excluded) {
    m_wanted = std::move(wanted);
    m_excluded = std::move(excluded);
    const auto& table = sourceTable();
    if (std::any_of(table.begin(), table.end(), [this](const SourceInfo& s) { return wants(s); })) return {};
    return "nothing is left to be recorded: no metric fits what --sources, --metrics and --exclude say "
           "(--list shows the names)";
}

std::string Selection::addInterval(const std::string& text, double& intervalMs) {
    const std::size_t sign = text.find('=');
    const std::string length = sign == std::string::npos ? text : text.substr(sign + 1);
    const auto seconds = base::parseDuration(length, 0.001);
    if (!seconds || *seconds <= 0) return base::notADuration(length, "milliseconds");
    if (sign == std::string::npos) {
        intervalMs = *seconds * 1000.0;
        return {};
    }
    const std::string name = lowerCase(base::trimmed(text.substr(0, sign)));
    if (!isSource(name)) return unknownSource(name);
    m_intervals[name] = *seconds * 1000.0;
    return {};
}

bool Selection::wantsMetric(const std::string& name) const {
    return (m_wanted.empty() || matchesAny(m_wanted, name)) && !matchesAny(m_excluded, name);
}

bool Selection::wants(const SourceInfo& source) const {
    return wantsSource(source.name) &&
           std::any_of(source.metrics.begin(), source.metrics.end(),
                       [this](const MetricInfo& metric) { return wantsMetric(metric.name); });
}

double Selection::intervalMs(const SourceInfo& source, double intervalMs) const {
    const auto own = m_intervals.find(source.name);
    if (own != m_intervals.end()) return own->second;
    return std::max(source.intervalMs, intervalMs);
}

}  // namespace host::record
