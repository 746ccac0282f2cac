#pragma once

#include <deque>
#include <map>
#include <optional>
#include <string>

namespace host::model {

// The order of features and metrics in the summary report. A list that is absent makes its look-up fail.
struct OutputConfiguration {
    using Names = std::deque<std::string>;

    // Without any configuration the feature order is there, but empty: the order of arrival holds.
    std::optional<Names> m_features = Names();
    std::optional<Names> m_prefixes;
    std::map<std::string, Names> m_metrics;  // by feature
};

}  // namespace host::model
