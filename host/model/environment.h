#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <ostream>
#include <string>

#include "host/model/output_handle.h"
#include "host/model/results.h"
#include "pwr/plugin_environment.h"

namespace host::model {

// The service object that the plug-ins see. While it lives, g_pluginEnvironment points to it.
class Environment : public PluginEnvironment {
public:
    // The logs stay the caller's and must outlive this object; they may be the same.
    Environment(pwr::Logger& errorLog, pwr::Logger& infoLog);
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;
    ~Environment();

    // Where results lie, and which there are.
    Results& results() { return m_results; }
    const Results& results() const { return m_results; }

    // The environment that lives, or null.
    static Environment* current() { return s_current; }

    // Returns the handle of that name, made on first use.
    pwr::Logger* outputHandle(const std::string& name);

    // Logs that an output file could not be written, and counts it. `error` is an errno value.
    void reportOutputFailure(const std::string& name, int error);

    // How often an output handle could not write its file.
    std::size_t outputFailures() const { return m_outputFailures; }

private:
    static Environment* s_current;

    std::ostream m_discard;
    std::map<std::string, std::unique_ptr<OutputHandle>> m_outputs;
    std::size_t m_outputFailures = 0;
    Results m_results;
};

}  // namespace host::model
