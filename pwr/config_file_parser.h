#pragma once

#include <deque>
#include <string>

#include "pwr/api.h"

namespace pwr {

// The output configuration of the summary report.
class PWR_HOST_API WriterInterfaceConfigFileParser {
public:
    // The one object of the process.
    static WriterInterfaceConfigFileParser& instance();

    // Each operation appends the configured names to `out`, in order, and returns true, or returns false and
    // leaves `out` alone when the configuration has no such entries.
    bool getFeatureOrder(std::deque<std::string>& out) const;
    bool getAllFeaturePrefixes(std::deque<std::string>& out) const;
    bool getMetricOrderForFeature(std::deque<std::string>& out, const std::string& feature) const;

protected:
    WriterInterfaceConfigFileParser() = default;
    ~WriterInterfaceConfigFileParser() = default;
};

}  // namespace pwr
