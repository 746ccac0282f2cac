#include "host/model/checked_writer.h"

#include <cstdlib>

#include "host/model/metric.h"
#include "plugins/plugin_capability.h"
#include "pwr/plugin_environment.h"

namespace host::model {

CheckedWriter::CheckedWriter(WriterPlugin& writer)
    : m_writer(&writer), m_isChecked(std::getenv("PWR_HOST_CHECK") != nullptr) {}

// Returns false.
bool CheckedWriter::complain_i(const std::string& what) const {
    if (g_pluginEnvironment == nullptr || g_pluginEnvironment->m_logLevel < 1) return false;
    const std::string& name = m_writer->m_capabilities.front()->m_name;
    g_pluginEnvironment->m_errorLog->log(1, ("ERROR: Host check of " + name + ": " + what + "\n").c_str());
    return false;
}

std::int32_t CheckedWriter::init(const std::string& outputName, bool continuous) {
    if (m_isChecked && (m_state == State::Started || m_state == State::Open)) {
        complain_i("init of a run that has begun");
        return 1;
    }
    const std::int32_t status = m_writer->init(outputName, continuous);
    if (status == 0) m_state = State::Started;
    m_isContinuous = continuous;
    return status;
}

std::int32_t CheckedWriter::fini() {
    if (m_isChecked && m_state != State::Started && m_state != State::Open) {
        complain_i("fini of a run that has not begun");
        return 1;
    }
    m_state = State::Ended;
    return m_writer->fini();
}

bool CheckedWriter::flushContinuousResults(const pwr::SystemMetadata& metadata) {
    if (m_isChecked) {
        if (!isOpen_i("a flush")) return false;
        if (!m_isContinuous) return complain_i("a flush in a run that is not continuous");
        if ((m_writer->m_capabilities.front()->m_flags & pwr::PluginCapability::FLAG_CONTINUOUS) == 0)
            return complain_i("a flush, which it cannot do");
    }
    return m_writer->flushContinuousResults(metadata);
}

bool CheckedWriter::isOpen_i(const char* call) const {
    switch (m_state) {
        case State::Made:
            return complain_i(std::string(call) + " before init");
        case State::Started:
            return complain_i(std::string(call) + " before the system message");
        case State::Open:
            return true;
        case State::Ended:
            return complain_i(std::string(call) + " after fini");
    }
    return false;
}

bool CheckedWriter::isGood_i(const pwr::SystemMessage& message) {
    if (m_state == State::Open) return complain_i("a second system message");
    if (m_state != State::Started) return isOpen_i("a system message");
    if (message.m_metadata == nullptr) return complain_i("a system message without metadata");
    m_state = State::Open;
    return true;
}

bool CheckedWriter::isGood_i(const pwr::WriterMessage&) const {
    return isOpen_i("a message");
}

bool CheckedWriter::isGood_i(const pwr::Metric& metric) const {
    if (!isOpen_i("a metric")) return false;
    const std::string name = "metric \"" + metric.m_name + "\": ";
    if (static_cast<const Metric&>(metric).m_sample == nullptr) return complain_i(name + "no sample");
    for (const pwr::EntityHandle* entity : metric.m_entities)
        if (entity == nullptr) return complain_i(name + "a null entity");
    std::size_t number = 0;
    for (const pwr::DataElement* element : metric.getData().elements) {
        ++number;
        if (element == nullptr) return complain_i(name + "element " + std::to_string(number) + " is null");
        if (element->getEntity() == nullptr)
            return complain_i(name + "element " + std::to_string(number) + " has no entity");
    }
    return true;
}

}  // namespace host::model
