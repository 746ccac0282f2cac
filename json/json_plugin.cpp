#include "json/json_plugin.h"

#include "continuous/cont_writer.h"
#include "json/document.h"
#include "plugins/log.h"
#include "plugins/memory_guard.h"
#include "plugins/writer_plugin_capability.h"
#include "pwr/messages.h"
#include "pwr/utilities.h"

namespace {

std::string versionText(const pwr::Version& version) {
    return pwr::to_string<int>(version.major) + "." + pwr::to_string<int>(version.minor) + "." +
           pwr::to_string<int>(version.update);
}

}  // namespace

JSONWriter::JSONWriter()
    : WriterPlugin("2e820d9e-2f9e-4cdb-a81d-056273a7a392"),
      m_extension(".ztjson"),
      m_tickFactor(0.0F),
      m_systemMetadata(nullptr),
      m_collectionStart(0),
      m_continuous(false) {
    addCapability(new pwr::WriterPluginCapability(
        {}, "json", "Write data trace file (.ztjson) in JSON format for visualization with Orvane Tessaly",
        m_extension, true));
}

JSONWriter::~JSONWriter() = default;

std::int32_t JSONWriter::init(const std::string& name, bool continuous) {
    const auto report = [&name] { logOutOfMemory("the start of", name); };
    return guardMemory(report, 1, [&] {
        m_outputPath = name + m_extension;
        m_continuous = continuous;
        if (continuous && g_contWriter == nullptr)
            g_contWriter = std::make_unique<ContWriter>(name).release();
        return 0;
    });
}

std::int32_t JSONWriter::fini() {
    const auto report = [this] { logOutOfMemory("the rest of", m_outputPath); };
    return guardMemory(report, 1, [this] { return finish_i(); });
}

std::int32_t JSONWriter::finish_i() {
    if (m_continuous) return g_contWriter->fini();
    if (m_systemMetadata == nullptr) {
        LOG_WARNING("There was no system message, so %s is not written\n", m_outputPath.c_str());
        return 1;
    }
    DocumentSink sink;
    if (!sink.open(m_outputPath)) return 0;
    writeDocument(sink,
                  {*m_systemMetadata, m_collectionStart, m_zentraceVersion, m_driverVersion, m_commandLine},
                  m_ownedSeries);
    sink.finish();
    return 0;
}

bool JSONWriter::flushContinuousResults(const pwr::SystemMetadata& metadata) {
    return m_continuous && g_contWriter->flushContinuousResults(metadata);
}

std::int32_t JSONWriter::writeMessage(const pwr::TextMessage&) {
    return 0;
}

std::int32_t JSONWriter::writeMessage(const pwr::SystemMessage& message) {
    const auto report = [this] { logOutOfMemory("the system data of", m_outputPath); };
    return guardMemory(report, 1, [&] { return takeSystem_i(message); });
}

std::int32_t JSONWriter::takeSystem_i(const pwr::SystemMessage& message) {
    m_systemMetadata = message.m_metadata;
    m_collectionStart = m_systemMetadata->m_collectionStart;
    m_tickFactor = 1.0F / m_systemMetadata->m_tscFrequency;
    if (m_continuous) return g_contWriter->writeMessage(message);

    m_commandLine.clear();
    for (const std::string& word : m_systemMetadata->m_commandLine) m_commandLine += " " + word;
    m_zentraceVersion = versionText(m_systemMetadata->m_productVersion);
    m_driverVersion = versionText(m_systemMetadata->m_driverVersion);
    return 0;
}
