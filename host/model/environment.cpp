#include "host/model/environment.h"

#include <cstring>

PluginEnvironment* g_pluginEnvironment = nullptr;

namespace host::model {

Environment* Environment::s_current = nullptr;

Environment::Environment(pwr::Logger& errorLog, pwr::Logger& infoLog) : m_discard(nullptr) {
    m_logLevel = 1;
    m_errorLog = &errorLog;
    m_infoLog = &infoLog;
    m_discardStream = &m_discard;
    g_pluginEnvironment = this;
    s_current = this;
}

Environment::~Environment() {
    if (g_pluginEnvironment == this) g_pluginEnvironment = nullptr;
    if (s_current == this) s_current = nullptr;
}

pwr::Logger* Environment::outputHandle(const std::string& name) {
    std::unique_ptr<OutputHandle>& handle = m_outputs[name];
    if (handle == nullptr) handle = std::make_unique<OutputHandle>(name, *this);
    return handle.get();
}

void Environment::reportOutputFailure(const std::string& name, int error) {
    ++m_outputFailures;
    if (m_logLevel < 1) return;
    const std::string line = "ERROR: Could not write " + name + ": " + std::strerror(error) + "\n";
    m_errorLog->log(1, line.c_str());
}

}  // namespace host::model

PluginEnvironment::PluginEnvironment()
    : m_logLevel(0), m_errorLog(nullptr), m_infoLog(nullptr), m_discardStream(nullptr) {}

PluginEnvironment::~PluginEnvironment() = default;

pwr::Logger* PluginEnvironment::getFileOutputHandle(const char* name) const {
    // The host's one environment is not constant; writers only see it as such.
    const auto* self = static_cast<const host::model::Environment*>(this);
    return const_cast<host::model::Environment*>(self)->outputHandle(name);
}
