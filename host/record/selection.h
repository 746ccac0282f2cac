// What the user wants recorded.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

namespace host::record {

struct SourceInfo;

// By default everything, as often as the sources think fit. Each of the setters returns why it refuses, empty
// if it does not.
class Selection {
public:
    // Names of sources with commas between, blanks and any case allowed; these and no others.
    std::string setSources(const std::string& list);

    // Patterns with * and ? on the names of metrics: of those that match one of the first kind, or of all if
    // there is none, those that match none of the second are recorded.
    std::string setMetrics(std::vector<std::string> wanted, std::vector<std::string> excluded);

    // "MS" or "SOURCE=MS"; the former goes to `intervalMs`.
    std::string addInterval(const std::string& text, double& intervalMs);

    bool wantsSource(const std::string& name) const {
        return m_sources.empty() || m_sources.count(name) != 0;
    }
    bool wantsMetric(const std::string& name) const;

    // Whether a metric of the source is wanted.
    bool wants(const SourceInfo& source) const;

    // Time between two samples of a source, where the collection's is `intervalMs`.
    double intervalMs(const SourceInfo& source, double intervalMs) const;

private:
    std::set<std::string> m_sources;  // empty: all
    std::vector<std::string> m_wanted;
    std::vector<std::string> m_excluded;
    std::map<std::string, double> m_intervals;
};

}  // namespace host::record
