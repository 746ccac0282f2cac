#include "overtime/int_writer_v2.h"

#include <charconv>
#include <new>
#include <set>

#include "plugins/log.h"
#include "plugins/memory_guard.h"
#include "plugins/writer_plugin_capability.h"
#include "pwr/system_metadata.h"

namespace {

constexpr double MICROSECONDS_PER_MILLISECOND = 1000.0;
constexpr int DECIMALS = 2;

}  // namespace

IntWriterV2::IntWriterV2() : IntWriterV2("b1e44565-005f-46ea-9fbb-34ea6bc01203", "_trace.csv") {
    addCapability(std::make_unique<pwr::WriterPluginCapability>(
                      std::set<pwr::TableClass>{}, "int", "Write data trace file (*_trace.csv) in CSV format",
                      m_extension, false)
                      .release());
    readSettings_i();
}

IntWriterV2::IntWriterV2(const std::string& id, const std::string& extension)
    : WriterPlugin(id),
      m_tableMemory(&m_largePages),
      m_extension(extension),
      m_timestampFrequency(0),
      m_globalStartTimestamp(0),
      m_tables(&m_tableMemory),
      m_doTimelineTsc(false),
      m_doTimelineResidencyTicks(false),
      m_isComplete(true),
      m_writeError(0),
      m_messageCount(0),
      m_realFormatter(0, DECIMALS) {}

IntWriterV2::~IntWriterV2() = default;

const char* IntWriterV2::optionName_i() const {
    return m_capabilities.front()->m_name.c_str();
}

void IntWriterV2::readSettings_i() {
    m_doTimelineTsc = pwr::check_env("PW_DO_TIMELINE_TSC");
    m_doTimelineResidencyTicks = pwr::check_env("PW_DO_TIMELINE_RESIDENCY_TICKS");
}

std::int32_t IntWriterV2::init(const std::string& outputName, bool) {
    return guardMemory(optionName_i(), 1, [&] {
        m_fileName = outputName + m_extension;
        m_file = openFile(m_fileName, "wb");
        if (m_file != nullptr) return 0;
        LOG_WARNING_TAG(TEXT_WRITER_TAG, "Could not create %s\n", m_fileName.c_str());
        return 1;
    });
}

std::int32_t IntWriterV2::fini() {
    return guardMemory(optionName_i(), 1, [&] { return printTables_i(); });
}

std::int32_t IntWriterV2::printTables_i() {
    if (m_file == nullptr) {
        LOG_WARNING_TAG(TEXT_WRITER_TAG, "Output file %s does not exist\n", m_fileName.c_str());
        return 1;
    }
    for (auto& [outerKey, group] : m_tables) {
        bool isFirst = true;
        for (auto& [innerKey, table] : group) {
            table.store.flush(m_file.get(), ",", isFirst);
            m_isComplete = table.store.isComplete() && m_isComplete;
            if (m_writeError == 0) m_writeError = table.store.writeError();
            isFirst = false;
        }
    }
    return finishFile(std::move(m_file), m_fileName, m_writeError) && m_isComplete ? 0 : 1;
}

std::int32_t IntWriterV2::writeMessage(const pwr::TextMessage& message) {
    if (m_file == nullptr) return 0;
    writeText(m_file.get(), message.m_text, m_writeError);
    writeText(m_file.get(), "\n", m_writeError);
    return 0;
}

std::int32_t IntWriterV2::writeMessage(const pwr::SystemMessage& message) {
    m_globalStartTimestamp = message.m_metadata->m_collectionStart;
    m_timestampFrequency = static_cast<double>(message.m_metadata->m_tscFrequency);
    for (LatestText& text : m_timeTexts) text.isSet = false;
    m_durationText.isSet = false;
    m_rowStart.sampleCount = 0;
    if (m_timestampFrequency != 0) return 0;
    LOG_WARNING_TAG(
        TEXT_WRITER_TAG,
        "Frequency of timestamps is zero. Please check the clock frequency in the system metadata.\n");
    return 1;
}

std::int32_t IntWriterV2::writeMessage(const pwr::MetricContainerInfoMessage& message) {
    if (message.m_timelineTableType == pwr::TIMELINE_TABLE_BOTH) return 0;
    return guardMemory(optionName_i(), 1, [&] {
        m_timelineTableTypes[message.m_metricContainerId] = message.m_timelineTableType;
        return 0;
    });
}

std::int32_t IntWriterV2::writeMessage(const pwr::Metric& metric) {
    if (metric.getData().timestamp < m_globalStartTimestamp) {
        LOG_WARNING_TAG(TEXT_WRITER_TAG,
                        "Timestamp of the sample is less than the global start timestamp.\n");
        return 1;
    }
    return guardMemory(optionName_i(), 1, [&] {
        addRows_i(metric);
        return 0;
    });
}

void IntWriterV2::addRows_i(const pwr::Metric& metric) {
    static const std::string noSuffix;
    static const std::string notAvailable = "n/a";
    switch (metric.m_metricType) {
        case pwr::Metric::SAMPLED_RESIDENCY:
            writeSampledResidencyMetric(metric);
            break;
        case pwr::Metric::SAMPLED_DELTA:
            writeSampledDeltaMetric(metric);
            break;
        case pwr::Metric::TRACED_VALUE_TRANSITION:
        case pwr::Metric::TRACED_EVENT:
            writeTracedMetric(metric);
            break;
        default:
            writeSampledGeneric(metric, 0, CalculationNone, metric.m_quantity, noSuffix, notAvailable);
            break;
    }
}

IntWriterV2::TableInfo* IntWriterV2::findTable_i(std::uint64_t outerKey, std::uint64_t innerKey) const {
    TableInfo* const* const found = m_tableCache.find(TableKey{outerKey, innerKey});
    return found != nullptr ? *found : nullptr;
}

IntWriterV2::TableInfo& IntWriterV2::addTable_i(const std::string& title, std::uint64_t outerKey,
                                                std::uint64_t innerKey, const std::string& defaultValue) {
    TableInfo*& cached = m_tableCache[TableKey{outerKey, innerKey}];  // null if the next step fails
    cached = &m_tables[outerKey].try_emplace(innerKey, title, defaultValue, &m_tableMemory).first->second;
    return *cached;
}

BackingStoreWrapper* IntWriterV2::getStore(const std::string& title, std::uint64_t outerKey,
                                           std::uint64_t innerKey, const std::string& defaultValue) {
    if (TableInfo* const table = findTable_i(outerKey, innerKey)) return &table->store;
    try {
        return &addTable_i(title, outerKey, innerKey, defaultValue).store;
    } catch (const std::bad_alloc&) {
        logOutOfMemory(optionName_i());
    } catch (...) {
        // The store has told why.
    }
    m_isComplete = false;
    LOG_WARNING_TAG(TEXT_WRITER_TAG, "Failed to initialize buffer.\n");
    return nullptr;
}

std::string IntWriterV2::convertTicksToTime(std::uint64_t ticks, TimeConversion conversion) {
    std::string text;
    formatTicks_i(ticks, conversion, text);
    return text;
}

void IntWriterV2::formatTicks_i(std::uint64_t ticks, TimeConversion conversion, std::string& out) const {
    double time = 0.0;
    if (conversion == TimeConversionMicroseconds) {
        time = static_cast<double>(ticks) / m_timestampFrequency;
    } else if (conversion == TimeConversionMilliseconds) {
        time = static_cast<double>(ticks) / (m_timestampFrequency * MICROSECONDS_PER_MILLISECOND);
    }
    m_realFormatter.format(out, pwr::Data(time));
}

void IntWriterV2::formatTime_i(std::uint64_t timestamp, TimeConversion conversion, std::string& out) const {
    if (m_doTimelineTsc) {
        char digits[20];
        const auto end = std::to_chars(digits, digits + sizeof digits, timestamp);
        out.assign(digits, end.ptr);
    } else {
        formatTicks_i(timestamp - m_globalStartTimestamp, conversion, out);
    }
}

const std::string& IntWriterV2::timeText_i(std::uint64_t timestamp, TimeConversion conversion) {
    return m_timeTexts[conversion].of(timestamp,
                                      [&](std::string& out) { formatTime_i(timestamp, conversion, out); });
}

const std::string& IntWriterV2::durationText_i(std::uint64_t ticks) {
    return m_durationText.of(
        ticks, [&](std::string& out) { formatTicks_i(ticks, TimeConversionMilliseconds, out); });
}

const std::string& IntWriterV2::sampleText_i(std::uint64_t sampleCount) {
    return m_sampleText.of(sampleCount, [&](std::string& out) {
        out.clear();
        pwr::Data(static_cast<unsigned long>(sampleCount)).toFormattedString(out);
    });
}
