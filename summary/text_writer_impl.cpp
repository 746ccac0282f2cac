#include "summary/text_writer_impl.h"

#include <cerrno>
#include <deque>
#include <utility>

#include "plugins/log.h"
#include "plugins/memory_guard.h"
#include "pwr/config_file_parser.h"
#include "pwr/utilities.h"

namespace {

constexpr unsigned int NO_CONTAINER = ~0U;
constexpr std::size_t BUFFER_SIZE = std::size_t{64} * 1024;

// Null if memory is short.
TempFileManager* findOrCreate(std::map<unsigned long, TempFileManager*>& managers, unsigned long key,
                              bool& created, int columnCount) {
    created = false;
    const auto found = managers.find(key);
    if (found != managers.end()) return found->second;
    return guardMemory<TempFileManager*>("sum", nullptr, [&] {
        auto manager = std::make_unique<TempFileManager>(columnCount);
        managers.emplace(key, manager.get());
        created = true;
        return manager.release();
    });
}

// The features of the report in order, as far as the output configuration knows any.
std::deque<std::string> featuresInOrder(const pwr::WriterInterfaceConfigFileParser& configuration) {
    std::deque<std::string> features;
    if (configuration.getFeatureOrder(features)) return features;
    LOG_DEBUG_TAG(TEXT_WRITER_TAG,
                  "Feature switch order entries not present in the output config file.\n"
                  "Using the list of all feature switches present in the output file.\n");
    if (!configuration.getAllFeaturePrefixes(features))
        LOG_ERROR("No entries present for metrics in the output config file. Shouldn't happen!\n");
    return features;
}

}  // namespace

TextWriterImpl::TextWriterImpl(const std::string& delimiter, const std::string& extension)
    : m_delimiter(delimiter),
      m_extension(extension),
      m_tscFrequency(1.0F),
      m_timelineTsc(pwr::check_env("PW_DO_TIMELINE_TSC")),
      m_metricOrder(nullptr),
      m_features(nullptr),
      m_configuration(&pwr::WriterInterfaceConfigFileParser::instance()),
      m_writeError(0) {}

TextWriterImpl::~TextWriterImpl() {
    m_outputFile.reset();
    for (const auto& [key, manager] : m_tableFiles) delete manager;
    for (const auto& [key, manager] : m_metricInfoFiles) delete manager;
}

int TextWriterImpl::init(const std::string& outputName) {
    m_outputPath = outputName + m_extension;
    m_outputFile = openFile(m_outputPath, "wb");
    if (m_outputFile == nullptr) {
        LOG_WARNING_TAG(TEXT_WRITER_TAG, "Could not create %s\n", m_outputPath.c_str());
        return 1;
    }
    // Many tables are small: they are gathered, too.
    if (m_outputBuffer == nullptr) m_outputBuffer = std::make_unique_for_overwrite<char[]>(BUFFER_SIZE);
    std::setvbuf(m_outputFile.get(), m_outputBuffer.get(), _IOFBF, BUFFER_SIZE);
    return 0;
}

int TextWriterImpl::fini() {
    if (m_outputFile == nullptr) {
        LOG_WARNING_TAG(TEXT_WRITER_TAG, "Output file does not exist!\n");
        return 1;
    }
    if (m_metricOrder == nullptr) {
        LOG_WARNING_TAG(TEXT_WRITER_TAG, "Metric ordering information does not exist. Cannot proceed!\n");
        return 1;
    }
    orderMetrics_i();
    writeReport_i();
    finishFile(std::move(m_outputFile), m_outputPath, m_writeError);
    return 0;
}

TempFileManager* TextWriterImpl::getTempFile(unsigned long key, bool& created, int columnCount) {
    return findOrCreate(m_tableFiles, key, created, columnCount);
}

TempFileManager* TextWriterImpl::getTempMetricInfoFile(unsigned long key, bool& created, int columnCount) {
    return findOrCreate(m_metricInfoFiles, key, created, columnCount);
}

void TextWriterImpl::processPerMetricTables(unsigned int containerId, unsigned int previousContainerId) {
    std::FILE* const output = m_outputFile.get();
    const auto header = m_containerHeaders.find(containerId);
    const auto notes = m_containerNotes.find(containerId);
    const unsigned long firstKey = combineIds(containerId, 0);
    const auto isOwn = [&](auto table, const Managers& managers) {
        return table != managers.end() && extractMetricIdFromCombinedId(table->first) == containerId;
    };

    if (containerId != previousContainerId && header != m_containerHeaders.end()) {
        processMetricContainerHeader(output, header->second);
        if (notes != m_containerNotes.end()) processPreMetricTextNotes(output, notes);
        for (auto table = m_metricInfoFiles.lower_bound(firstKey); isOwn(table, m_metricInfoFiles); ++table)
            flushTable_i(*table->second);
    }
    for (auto table = m_tableFiles.lower_bound(firstKey); isOwn(table, m_tableFiles); ++table) {
        const auto tableNotes = m_tableNotes.find(extractTableIdFromCombinedId(table->first));
        const bool hasNotes = tableNotes != m_tableNotes.end();
        if (hasNotes) processPreTableTextNotes(output, tableNotes);
        flushTable_i(*table->second);
        if (hasNotes) processPostTableTextNotes(output, tableNotes);
    }
    if (notes != m_containerNotes.end()) processPostMetricTextNotes(output, notes);
    keepWriteError_i();
}

void TextWriterImpl::setContainerNotes(unsigned int containerId, const pwr::TextNotes* notes) {
    m_containerNotes[containerId] = notes;
}

void TextWriterImpl::setContainerHeader(unsigned int containerId, const std::string& header) {
    m_containerHeaders[containerId] = header;
}

void TextWriterImpl::setReportOrder(std::list<unsigned int>* metricOrder, FeatureMap* features) {
    m_metricOrder = metricOrder;
    m_features = features;
}

// Puts the containers that the output configuration names in front, in its order. The others keep theirs.
void TextWriterImpl::orderMetrics_i() {
    std::list<unsigned int> ordered;
    std::unordered_map<unsigned int, std::list<unsigned int>::const_iterator> places;
    for (auto place = m_metricOrder->cbegin(); place != m_metricOrder->cend(); ++place)
        places.emplace(*place, place);
    for (const std::string& feature : featuresInOrder(*m_configuration)) {
        std::deque<std::string> metrics;
        if (!m_configuration->getMetricOrderForFeature(metrics, feature)) continue;
        for (const std::string& metric : metrics) {
            // A name that no container has gets the id 0, and so stands for container 0 if there is one.
            const unsigned int id = (*m_features)[feature][metric];
            const auto found = places.find(id);
            if (found == places.end()) continue;
            ordered.splice(ordered.end(), *m_metricOrder, found->second);
            places.erase(found);
        }
    }
    m_metricOrder->splice(m_metricOrder->begin(), ordered);
}

void TextWriterImpl::writeReport_i() {
    for (const unsigned long key : {HEADER_TEXT_KEY, TEXT_KEY}) {
        const auto text = m_tableFiles.find(key);
        if (text != m_tableFiles.end()) flushTable_i(*text->second);
    }
    unsigned int previous = NO_CONTAINER;
    for (const unsigned int id : *m_metricOrder) {
        processPerMetricTables(id, previous);
        previous = id;
    }
}

void TextWriterImpl::flushTable_i(TempFileManager& manager) {
    // The manager has told what it could not read; what could not be written is told when the report is
    // closed.
    manager.flush(m_outputFile.get(), m_delimiter);
    keepWriteError_i();
}

void TextWriterImpl::keepWriteError_i() {
    if (m_writeError == 0 && std::ferror(m_outputFile.get()) != 0) m_writeError = errno;
}
