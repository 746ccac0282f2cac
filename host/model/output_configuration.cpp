#include "host/model/output_configuration.h"

#include "host/model/registry.h"
#include "pwr/config_file_parser.h"

namespace {

// Makes the one object, which has no state of its own.
class ConfigurationAccess : public pwr::WriterInterfaceConfigFileParser {};

bool append(const host::model::OutputConfiguration::Names& names, std::deque<std::string>& out) {
    out.insert(out.end(), names.begin(), names.end());
    return true;
}

const host::model::OutputConfiguration& configuration() {
    return host::model::Registry::instance().m_configuration;
}

}  // namespace

namespace pwr {

WriterInterfaceConfigFileParser& WriterInterfaceConfigFileParser::instance() {
    static ConfigurationAccess s_instance;
    return s_instance;
}

bool WriterInterfaceConfigFileParser::getFeatureOrder(std::deque<std::string>& out) const {
    const auto& features = configuration().m_features;
    return features.has_value() && append(*features, out);
}

bool WriterInterfaceConfigFileParser::getAllFeaturePrefixes(std::deque<std::string>& out) const {
    const auto& prefixes = configuration().m_prefixes;
    return prefixes.has_value() && append(*prefixes, out);
}

bool WriterInterfaceConfigFileParser::getMetricOrderForFeature(std::deque<std::string>& out,
                                                               const std::string& feature) const {
    const auto& metrics = configuration().m_metrics;
    const auto found = metrics.find(feature);
    return found != metrics.end() && append(found->second, out);
}

}  // namespace pwr
