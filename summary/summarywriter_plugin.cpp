#include "summary/summarywriter_plugin.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <set>

#include "plugins/log.h"
#include "plugins/memory_guard.h"
#include "plugins/writer_plugin_capability.h"
#include "pwr/messages.h"
#include "pwr/table_message.h"

namespace {

const char* const OPTION_NAME = "sum";

int columnCountOf(const pwr::TableMessage& table) {
    const std::size_t repeats = std::max<std::size_t>(table.getEntityCount(), 1);
    return static_cast<int>(table.getSharedHandleCount() + repeats * table.getHandleCount());
}

unsigned long keyOf(const pwr::TableMessage& table) {
    return combineIds(table.m_metricContainerId, table.m_id);
}

}  // namespace

SummaryWriter::SummaryWriter()
    : TextWriter("108d88ba-5ee4-11e4-aa15-123b93f75cba"),
      m_console(false),
      m_metricOrder(std::make_unique<std::list<unsigned int>>()),
      m_features(std::make_unique<FeatureMap>()) {
    m_impl = std::make_unique<TextWriterImpl>(", ", ".csv");
    addCapability(std::make_unique<pwr::WriterPluginCapability>(
                      std::set{pwr::TABLE_CLASS_SUMMARY}, OPTION_NAME,
                      "Write summary reports for all collected metrics to CSV file [default]", ".csv", false)
                      .release());
}

SummaryWriter::~SummaryWriter() {
    m_impl.reset();  // it borrows the order and the names
}

std::int32_t SummaryWriter::init(const std::string& outputName, bool) {
    m_console = outputName == "console";
    return guardMemory(OPTION_NAME, 1, [&] { return m_impl->init(outputName); });
}

std::int32_t SummaryWriter::fini() {
    m_impl->setReportOrder(m_metricOrder.get(), m_features.get());
    const std::int32_t status = guardMemory(OPTION_NAME, 1, [&] { return m_impl->fini(); });
    if (m_console && (std::fflush(stdout) != 0 || std::ferror(stdout) != 0))
        LOG_ERROR("Could not complete the report on standard output\n");
    return status;
}

std::int32_t SummaryWriter::writeMessage(const pwr::TableMessage& message) {
    if (message.isNonSummary() != 0) {
        LOG_INFO_TAG(TEXT_WRITER_TAG, "Skipping a non-summary table %s in summary text writer\n",
                     message.getTitle().c_str());
        return 0;
    }
    return guardMemory(OPTION_NAME, 1, [&] { return fileTable_i(message); });
}

std::int32_t SummaryWriter::writeMessage(const pwr::TextMessage& message) {
    if (message.getMessageType() == pwr::MESSAGE_HEADER_TEXT)
        return writeMessage(dynamic_cast<const pwr::HeaderTextMessage&>(message));
    return writeText_i(TEXT_KEY, message.m_text);
}

std::int32_t SummaryWriter::writeMessage(const pwr::HeaderTextMessage& message) {
    return writeText_i(HEADER_TEXT_KEY, message.m_text);
}

std::int32_t SummaryWriter::writeMessage(const pwr::MetricContainerInfoMessage& message) {
    return guardMemory(OPTION_NAME, 1, [&] { return fileContainer_i(message); });
}

std::int32_t SummaryWriter::fileTable_i(const pwr::TableMessage& message) {
    if (addToMetricOrder_i(message.m_metricContainerId) && message.m_metricContainerId == 0)
        LOG_INFO_TAG(TEXT_WRITER_TAG, "Metric Container Id not set for TableMessage?\n");
    bool created = false;
    TempFileManager* const manager = m_impl->getTempFile(keyOf(message), created, columnCountOf(message));
    return manager == nullptr ? 1 : handleTableMessage(message, manager, created);
}

std::int32_t SummaryWriter::fileContainer_i(const pwr::MetricContainerInfoMessage& message) {
    const unsigned int id = message.m_metricContainerId;
    if (message.m_notes != nullptr) m_impl->setContainerNotes(id, message.m_notes);
    if (!message.m_containerHeader.empty()) m_impl->setContainerHeader(id, message.m_containerHeader);
    if (!message.m_featureName.empty() && !message.m_metricName.empty())
        (*m_features)[message.m_featureName][message.m_metricName] = id;
    const pwr::TableMessage* const table = message.m_infoTable;
    if (table == nullptr) return 0;

    addToMetricOrder_i(id);
    bool created = false;
    TempFileManager* const manager =
        m_impl->getTempMetricInfoFile(keyOf(*table), created, columnCountOf(*table));
    if (manager == nullptr) return 1;
    handleTableMessage(*table, manager, created);
    return 0;
}

std::int32_t SummaryWriter::handleTableMessage(const pwr::TableMessage& message, TempFileManager* manager,
                                               bool created) {
    if (created) {
        if (m_console) manager->setConsole(true);
        if (m_impl->handleTitle(&message, manager) != 0 ||
            m_impl->handleFieldHeaders(&message, manager, 0) != 0 ||
            m_impl->handleFieldMetadata(&message, manager, 0) != 0)
            return 1;
        if (message.getTextNotes() != nullptr) m_impl->handlePerTableTextNotes(&message);
    }
    if (message.getTableMessageType() == pwr::TABLE_ANNOUNCEMENT) return 0;
    return m_impl->handleData(&message, nullptr, manager, 0);
}

std::int32_t SummaryWriter::writeText_i(unsigned long key, const std::string& text) {
    return guardMemory(OPTION_NAME, 1, [&] {
        bool created = false;
        TempFileManager* const manager = m_impl->getTempFile(key, created, 1);
        if (manager == nullptr) return 1;
        if (created && m_console) manager->setConsole(true);
        return m_impl->writeText(manager, text);
    });
}

// Returns true if the container was not there yet.
bool SummaryWriter::addToMetricOrder_i(unsigned int containerId) {
    if (m_knownContainers.contains(containerId)) return false;
    std::list<unsigned int> entry{containerId};
    m_knownContainers.insert(containerId);
    m_metricOrder->splice(m_metricOrder->end(), entry);
    return true;
}
