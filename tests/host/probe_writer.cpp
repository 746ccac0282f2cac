#include "tests/host/probe_writer.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "plugins/writer_plugin_capability.h"
#include "pwr/pwr.h"

namespace test {

namespace {

std::string real(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%a", value);
    if (char* const point = std::strchr(text, ',')) *point = '.';  // as some locales have it
    return text;
}

// All bytes of a text, those that do not print as \xx.
std::string visible(const std::string& text) {
    std::string result;
    for (const char c : text) {
        char shown[8];
        std::snprintf(shown, sizeof shown, c >= ' ' && c < 127 ? "%c" : "\\%02x",
                      static_cast<unsigned>(static_cast<unsigned char>(c)));
        result += shown;
    }
    return result;
}

std::string handle(const pwr::DataHandle* handle) {
    return handle == nullptr ? "-" : handle->getName() + "#" + std::to_string(handle->getId());
}

std::string value(const pwr::Data& data) {
    long i = 0;
    unsigned long u = 0;
    double r = 0;
    std::pair<long, long> ii;
    std::pair<unsigned long, unsigned long> uu;
    std::pair<double, double> rr;
    std::string s;
    const pwr::DataHandle* h = nullptr;
    if (data.toInt(i) == 0) return "i" + std::to_string(i);
    if (data.toUInt(u) == 0) return "u" + std::to_string(u);
    if (data.toReal(r) == 0) return "r" + real(r);
    if (data.toIntRange(ii) == 0) return "i" + std::to_string(ii.first) + ".." + std::to_string(ii.second);
    if (data.toUIntRange(uu) == 0) return "u" + std::to_string(uu.first) + ".." + std::to_string(uu.second);
    if (data.toRealRange(rr) == 0) return "r" + real(rr.first) + ".." + real(rr.second);
    if (data.toString(s) == 0) return "s" + visible(s);
    if (data.toHandle(h) == 0) return "h" + handle(h);
    return "none";
}

std::string values(const pwr::AttributeValueManager& manager) {
    std::string result = "{";
    for (const auto& [attribute, data] : manager)
        result += (result.size() > 1 ? " " : "") + handle(attribute) + "=" + value(data);
    return result + "}";
}

std::string element(const pwr::DataElement& element) {
    std::string result = " (" + handle(element.getEntity()) + " d=" + handle(element.getDescriptor()) +
                         " dur=" + std::to_string(element.getDuration()) + " v=" + value(*element.getValue());
    if (const auto* info = element.getAdditionalInfo(); info != nullptr) {
        result += " info=";
        for (const auto& [id, data] : *info) result += "[" + std::to_string(id) + " " + value(data) + "]";
    }
    if (element.getVyrtaDescriptor() != nullptr) result += " vd=" + handle(element.getVyrtaDescriptor());
    return result + ")";
}

std::string notes(const pwr::TextNotes* notes) {
    if (notes == nullptr) return "null";
    std::string result = "{";
    for (const auto& [key, texts] : *notes)
        for (const std::string& text : texts) result += std::to_string(key) + ":" + text + ";";
    return result + "}";
}

std::string quantity(const pwr::Quantity* quantity) {
    return quantity == nullptr ? "-" : quantity->toQuantityString() + "#" + std::to_string(quantity->getId());
}

std::string cell(int status, const std::string& out, bool valid) {
    if (status != 0) return "!";
    return valid ? "'" + out + "'" : "null";
}

std::string cells(const pwr::TableMessage& table) {
    std::string result;
    const auto byHandle = [&](const pwr::DataHandle* column) {
        std::string out = "left";
        bool valid = false;
        const int status = table.getFieldAsString(column, out, valid);
        return cell(status, out, valid) + (status != 0 && out != "left" ? "(changed)" : "");
    };
    for (auto it = table.sharedHandlesBegin(); it != table.sharedHandlesEnd(); ++it)
        result += " " + handle(*it) + "=" + byHandle(*it);
    if (table.entitiesBegin() == table.entitiesEnd())
        for (auto it = table.handlesBegin(); it != table.handlesEnd(); ++it)
            result += " " + handle(*it) + "=" + byHandle(*it);
    for (auto entity = table.entitiesBegin(); entity != table.entitiesEnd(); ++entity)
        for (auto it = table.handlesBegin(); it != table.handlesEnd(); ++it) {
            std::string out;
            bool valid = false;
            const int status = table.getFieldAsString(*entity, *it, out, valid);
            result += " " + handle(*entity) + "/" + handle(*it) + "=" + cell(status, out, valid);
        }
    return result;
}

std::string table(const pwr::TableMessage& table) {
    return "[" + std::to_string(table.m_metricContainerId) + "," + std::to_string(table.m_id) + "] type " +
           std::to_string(table.getTableMessageType()) + " '" + table.getTitle() +
           "' q=" + quantity(table.getQuantity()) + " nonsummary=" + std::to_string(table.isNonSummary()) +
           " headers=" + std::to_string(table.hasFieldHeaders()) +
           " fields=" + std::to_string(table.getFieldCount()) + " notes=" + notes(table.getTextNotes()) +
           cells(table);
}

std::string version(const pwr::Version& version) {
    return std::to_string(version.update) + "," + std::to_string(version.minor) + "," +
           std::to_string(version.major);
}

std::string metadata(const pwr::SystemMetadata& m) {
    std::string text = "cpu=" + std::to_string(m.m_cpu.family) + "," + std::to_string(m.m_cpu.model) + "," +
                       std::to_string(m.m_cpu.stepping) + " product=" + version(m.m_productVersion) +
                       " driver=" + version(m.m_driverVersion) + " " + m.m_platformName + "|" + m.m_hostName +
                       "|" + m.m_osName + "|" + m.m_osType + "|" + m.m_osVersion;
    text += " nodes=" + std::to_string(m.m_topology.getNumPackages()) + "," +
            std::to_string(m.m_topology.getNumModules()) + "," + std::to_string(m.m_topology.getNumCores()) +
            "," + std::to_string(m.m_topology.getNumThreads());
    std::vector<const pwr::TNode*> threads;
    m.m_topology.getAllThreads(threads);
    for (const pwr::TNode* node : threads) {
        text += " thread " + std::to_string(node->m_id);
        for (node = node->m_parent; node != nullptr; node = node->m_parent)
            text += std::string("<") + pwr::s_top_node_types[node->m_type] + std::to_string(node->m_id);
    }
    text += " MHz=" + real(m.m_busFrequency) + "," + real(m.m_tscFrequency) + "," + real(m.m_lfmFrequency) +
            "," + real(m.m_hfmFrequency) + "," + real(m.m_cpuFrequency);
    text += " start=" + std::to_string(m.m_collectionStart) + " stop=" + std::to_string(m.m_collectionStop) +
            " time=" + std::to_string(m.m_collectionTime) + " command=";
    for (const std::string& word : m.m_commandLine) text += word + ",";
    text += " platform=" + std::to_string(m.m_platformId) + " duration=" + real(m.getCollectionDurationSec());
    return text + " " + m.getCollectionStartTime() + "|" + m.getFormattedCPUCodeName() + "|" +
           m.getCPUNativeModelName(m.m_cpu.model) + "|" + m.getFormattedPCHDeviceNamesStr(m.m_platformName);
}

std::string describe(const pwr::Metric& m) {
    std::string text = std::to_string(m.m_id) + " '" + m.m_name + "' group='" + m.m_groupName +
                       "' type=" + std::to_string(m.m_metricType) +
                       " class=" + std::to_string(m.m_tableClass) + " q=" + quantity(m.m_quantity) +
                       " legend=";
    for (const pwr::Data& data : m.m_legendValues) text += value(data) + ",";
    text += " handles=" + handle(m.m_valueHandle) + "," + handle(m.m_stateHandle) + "," +
            handle(m.m_entityHandle) + " descriptors=";
    for (const auto& [owner, descriptor] : m.m_attributeDescriptors) {
        text += handle(owner) + ":" + handle(descriptor);
        if (descriptor != nullptr) text += values(*descriptor);
        text += ",";
    }
    text += " entities=";
    for (const pwr::EntityHandle* entity : m.m_entities)
        text += handle(entity) + "'" + entity->getQualifiedName() + "'" + values(*entity) + ",";
    text += " attributes=" + std::to_string(m.m_hasEntityAttributes) + " @" +
            std::to_string(m.getData().timestamp);
    for (const pwr::DataElement* item : m.getData().elements) text += element(*item);
    return text;
}

}  // namespace

ProbeWriter::ProbeWriter(const std::string& name, const std::set<pwr::TableClass>& classes, bool canFlush)
    : WriterPlugin("probe") {
    addCapability(new pwr::WriterPluginCapability(classes, name, "Writes nothing", ".none", canFlush));
}

std::int32_t ProbeWriter::note_i(const std::string& operation, const std::string& content) {
    m_calls.push_back(operation + (content.empty() ? "" : " ") + content);
    if (m_throwing.contains(operation)) throw std::bad_alloc();
    return m_failing.contains(operation) ? 1 : 0;
}

std::int32_t ProbeWriter::init(const std::string& outputName, bool continuous) {
    return note_i("init", outputName + (continuous ? " continuous" : ""));
}

std::int32_t ProbeWriter::fini() {
    return note_i("fini", "");
}

bool ProbeWriter::flushContinuousResults(const pwr::SystemMetadata& metadata) {
    return note_i("flush", "stop=" + std::to_string(metadata.m_collectionStop)) == 0;
}

std::int32_t ProbeWriter::writeMessage(const pwr::TableMessage& message) {
    return note_i("table", table(message));
}

std::int32_t ProbeWriter::writeMessage(const pwr::TextMessage& message) {
    return note_i("text", std::to_string(message.getMessageType()) + " id=" + std::to_string(message.m_id) +
                              " '" + visible(message.m_text) + "'");
}

std::int32_t ProbeWriter::writeMessage(const pwr::SystemMessage& message) {
    return note_i("system", std::to_string(message.m_id) + " " + metadata(*message.m_metadata));
}

std::int32_t ProbeWriter::writeMessage(const pwr::IdMessage&) {
    return note_i("id", "");
}

std::int32_t ProbeWriter::writeMessage(const pwr::Metric& metric) {
    return note_i("metric", describe(metric));
}

std::int32_t ProbeWriter::writeMessage(const pwr::MetricContainerInfoMessage& message) {
    std::string text = std::to_string(message.m_metricContainerId) + " '" + message.m_featureName + "' '" +
                       message.m_metricName + "' '" + message.m_containerHeader +
                       "' timeline=" + std::to_string(message.m_timelineTableType) +
                       " notes=" + notes(message.m_notes);
    if (message.m_infoTable != nullptr) text += " " + table(*message.m_infoTable);
    return note_i("container", text);
}

}  // namespace test
