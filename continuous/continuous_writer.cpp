#include "continuous/continuous_writer.h"

#include <algorithm>

#include "continuous/metadata_trees.h"
#include "plugins/log.h"
#include "plugins/numbers.h"
#include "plugins/value_text.h"
#include "pwr/plugin_environment.h"
#include "pwr/utilities.h"

namespace {

const std::string NO_TEXT;
const std::string NO_DESCRIPTOR = "N/A";

// True if the element's value claims to be a descriptor and isn't.
bool isNoDescriptor(const pwr::DataElement& element) {
    const pwr::DataHandle* const handle = handleOf(*element.getValue());
    return handle != nullptr && handle->getHandleType() == pwr::HANDLE_DATA_DESCRIPTOR &&
           asDescriptor(handle) == nullptr;
}

// Such a traced value gets a warning and no state.
void checkTracedValue(const pwr::DataElement& element) {
    if (isLogged(LogLevel::Warning) && isNoDescriptor(element))
        LOG_WARNING("Continuous writer plugin failed to retrieve descriptor\n");
}

// The state's name in full, for the log.
std::string stateForLog(const pwr::DataElement& element, const ElementReading& reading) {
    const bool isUnnamed = reading.stateOrigin == StateOrigin::TracedValue && isNoDescriptor(element);
    return isUnnamed ? std::string() : stateOf(element, reading);
}

}  // namespace

void ContinuousWriter::Metadata::append_i(const std::string& key, Data value) {
    const auto hasKey = [&key](const Entry& entry) { return entry.first == key; };
    auto entry = std::find_if(m_entries.begin(), m_entries.end(), hasKey);
    if (entry == m_entries.end()) entry = m_entries.insert(m_entries.end(), Entry(key, {}));
    entry->second.push_back(std::make_shared<Data>(std::move(value)));
}

ContinuousWriter::ContinuousWriter(const std::string& name) : m_name(name) {}

ContinuousWriter::~ContinuousWriter() = default;

std::int32_t ContinuousWriter::writeMessage(const pwr::SystemMessage& message) {
    m_systemMetadata = message.m_metadata;
    m_tickFactor = static_cast<double>(1.0F / m_systemMetadata->m_tscFrequency);
    // A collector that outlives a run must not take the next run's handles for those of this one.
    m_names.clear();
    m_states.clear();
    LOG_INFO_TAG(CONTINUOUS_WRITER_TAG, "wrote system message\n");
    return 0;
}

std::int32_t ContinuousWriter::writeMessage(const pwr::Metric& metric) {
    const pwr::Metric::Sample& sample = metric.getData();
    for (const pwr::DataElement* element : sample.elements)
        if (!writeElement_i(metric, *element, sample.timestamp)) return 1;
    return 0;
}

bool ContinuousWriter::writeElement_i(const pwr::Metric& metric, const pwr::DataElement& element,
                                      std::uint64_t timestamp) {
    static pwr::PWSet<unsigned int, std::less<unsigned int>> metricsWithMetadataSent;

    if (isTraced(metric.m_metricType)) checkTracedValue(element);
    const std::uint64_t duration = durationOf_i(element, isInstant(metric));
    const ElementReading reading = readElement(metric.m_metricType, element, duration, m_tickFactor);
    if (reading.stateOrigin == StateOrigin::DescriptorInValue && asDescriptor(reading.handle) == nullptr) {
        LOG_WARNING("Unable to retrieve data descriptor \n");
        return false;
    }
    if (isLogged(LogLevel::Info, CONTINUOUS_WRITER_TAG))
        logElement(CONTINUOUS_WRITER_TAG, metric.m_metricType, element, reading,
                   stateForLog(element, reading));
    if (metricsWithMetadataSent.count(metric.m_id) == 0) {
        m_metadata.emplace_back(metric.m_name, makeMetricTree(metric));
        metricsWithMetadataSent.insert(metric.m_id);
    }

    const bool isDelta = metric.m_metricType == pwr::Metric::SAMPLED_DELTA;
    const std::string& entity = isDelta ? sampledStateOf_i(element) : nameOf_i(*element.getEntity());
    const pwr::DataDescriptor* const descriptor = element.getDescriptor();
    m_data.emplace_back(static_cast<std::int32_t>(metric.m_id), entity,
                        descriptor != nullptr ? nameOf_i(*descriptor) : NO_DESCRIPTOR, timestamp,
                        static_cast<double>(duration), reading.value);
    return true;
}

// In microseconds.
std::uint64_t ContinuousWriter::durationOf_i(const pwr::DataElement& element, bool instant) const {
    if (instant) return 1;
    return truncateSaturated<std::uint64_t>(static_cast<double>(element.getDuration()) * m_tickFactor);
}

const std::string& ContinuousWriter::nameOf_i(const pwr::DataHandle& handle) {
    const std::string*& name = m_names[handle.getId()];
    if (name == nullptr) name = &keep_i(handle.getName());
    return *name;
}

const std::string& ContinuousWriter::sampledStateOf_i(const pwr::DataElement& element) {
    const pwr::DataDescriptor* const descriptor = element.getDescriptor();
    if (descriptor == nullptr) return NO_TEXT;
    const std::string*& state = m_states[descriptor->getId()];
    if (state == nullptr) state = &keep_i(getState(&element, false));
    return *state;
}

const std::string& ContinuousWriter::keep_i(const std::string& text) {
    return *m_texts.insert(text).first;
}

std::int32_t ContinuousWriter::fini() {
    return g_pluginEnvironment->getFileOutputHandle("")->finish();
}
