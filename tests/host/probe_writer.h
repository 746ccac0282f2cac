#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "plugins/writer_plugin.h"
#include "pwr/table_message.h"

namespace test {

// A writer that writes down what it is given, one text per call, with everything that a writer can see.
class ProbeWriter : public WriterPlugin {
public:
    explicit ProbeWriter(const std::string& name = "probe", const std::set<pwr::TableClass>& classes = {},
                         bool canFlush = true);

    std::int32_t init(const std::string& outputName, bool continuous) override;
    std::int32_t fini() override;
    bool flushContinuousResults(const pwr::SystemMetadata& metadata) override;
    std::int32_t writeMessage(const pwr::TableMessage& message) override;
    std::int32_t writeMessage(const pwr::TextMessage& message) override;
    std::int32_t writeMessage(const pwr::SystemMessage& message) override;
    std::int32_t writeMessage(const pwr::IdMessage& message) override;
    std::int32_t writeMessage(const pwr::Metric& metric) override;
    std::int32_t writeMessage(const pwr::MetricContainerInfoMessage& message) override;

    std::vector<std::string> m_calls;
    std::set<std::string> m_failing;   // operations that return 1: "init", "table", ...
    std::set<std::string> m_throwing;  // operations that throw

private:
    std::int32_t note_i(const std::string& operation, const std::string& content);
};

}  // namespace test
