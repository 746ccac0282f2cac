#include "export/long_rows.h"

#include "export/csv_text.h"
#include "export/number_text.h"
#include "export/value_reading.h"
#include "plugins/value_text.h"

namespace exporting {

namespace {

void appendColumn(std::string_view text, std::string& row) {
    appendCsv(text, row);
    row += ',';
}

// The word that a message stream has for the type; those without a word go by their number.
std::string typeText(pwr::Metric::MetricType type) {
    return type <= pwr::Metric::TRACED_EVENT ? getTypeString(type) : std::to_string(type);
}

// Fills `text` with the cell; `entity` is null in a table without entities. Returns false if the cell has no
// value.
bool readCell(const pwr::TableMessage& message, const pwr::EntityHandle* entity,
              const pwr::DataHandle* handle, std::string& text) {
    bool isValid = false;
    const int status = entity != nullptr ? message.getFieldAsString(entity, handle, text, isValid)
                                         : message.getFieldAsString(handle, text, isValid);
    return status == 0 && isValid;
}

}  // namespace

LongRows::LongRows(const std::string& run, const pwr::SystemMetadata& metadata) : m_clock(metadata) {
    appendColumn(run, m_run);
    appendColumn(metadata.m_hostName, m_run);
    if (const auto start = m_clock.wallStart()) m_start = rfc3339(*start);
    m_start += ',';
}

void LongRows::addSample(const pwr::Metric& metric, ResultFile& file) {
    describeSample_i(metric);
    for (const pwr::DataElement* element : metric.getData().elements) {
        m_row = m_run;
        m_row += m_times;
        appendDuration_i(element->getDuration());
        m_row += m_metric;
        appendNames_i(*element);
        m_row += m_unit;
        appendValue_i(*element->getValue());
        m_row += '\n';
        file.append(m_row);
        file.endRecord();
    }
}

void LongRows::describeSample_i(const pwr::Metric& metric) {
    const std::uint64_t tick = metric.getData().timestamp;
    m_times.clear();
    if (const auto time = m_clock.wallNanoseconds(tick)) m_times += rfc3339(*time);
    m_times += ',';
    if (m_clock.hasSeconds()) m_times += NumberText(m_clock.secondsSinceStart(tick)).view();
    m_times += ',';

    m_metric.clear();
    appendColumn(metric.m_groupName, m_metric);
    appendColumn(metric.m_name, m_metric);
    appendColumn(typeText(metric.m_metricType), m_metric);

    m_unit.clear();
    const bool isResidency = exporting::isResidency(metric);
    m_isInTicks = isResidency && m_clock.hasSeconds();
    appendColumn(m_isInTicks ? "s" : isResidency ? "ticks" : unitsOf(metric), m_unit);
}

// Samples at regular times have few different durations: that of the row before is mostly that of the next.
void LongRows::appendDuration_i(std::uint64_t duration) {
    if (m_clock.hasSeconds()) {
        if (m_durationText.empty() || duration != m_duration) {
            m_durationText = NumberText(m_clock.seconds(static_cast<double>(duration))).view();
            m_duration = duration;
        }
        m_row += m_durationText;
    }
    m_row += ',';
}

void LongRows::appendNames_i(const pwr::DataElement& element) {
    appendColumn(element.getEntity()->getQualifiedName(), m_row);
    appendColumn(itemOf(element), m_row);
}

// Appends the columns value, high and text.
void LongRows::appendValue_i(const pwr::Data& value) {
    switch (value.m_type) {
        case pwr::DATA_INT:
            return appendNumber_i(value, &pwr::Data::toInt);
        case pwr::DATA_UINT:
            return appendNumber_i(value, &pwr::Data::toUInt);
        case pwr::DATA_REAL:
            return appendNumber_i(value, &pwr::Data::toReal);
        case pwr::DATA_INT_RANGE:
            return appendRange_i(value, &pwr::Data::toIntRange);
        case pwr::DATA_UINT_RANGE:
            return appendRange_i(value, &pwr::Data::toUIntRange);
        case pwr::DATA_REAL_RANGE:
            return appendRange_i(value, &pwr::Data::toRealRange);
        default:
            return appendText_i(value);
    }
}

template <typename Number>
void LongRows::appendNumber_i(const pwr::Data& value, int (pwr::Data::*read)(Number&) const) {
    Number number{};
    (value.*read)(number);
    printNumber_i(number);
    m_row += ",,";
}

template <typename Number>
void LongRows::appendRange_i(const pwr::Data& value,
                             int (pwr::Data::*read)(std::pair<Number, Number>&) const) {
    std::pair<Number, Number> range{};
    (value.*read)(range);
    printNumber_i(range.first);
    m_row += ',';
    printNumber_i(range.second);
    m_row += ',';
}

template <typename Number>
void LongRows::printNumber_i(Number number) {
    if (m_isInTicks) {
        m_row += NumberText(m_clock.seconds(static_cast<double>(number))).view();
    } else {
        m_row += NumberText(number).view();
    }
}

void LongRows::appendText_i(const pwr::Data& value) {
    m_row += ",,";
    Value read;
    readValue(value, read);
    if (read.kind == ValueKind::Text) appendCsv(read.text, m_row);
}

// What tells a row from the others: its shared cells, which end up empty where they have no value.
std::string LongRows::sharedKeyOf_i(const pwr::TableMessage& message) {
    std::string key;
    for (auto it = message.sharedHandlesBegin(); it != message.sharedHandlesEnd(); ++it) {
        if (it != message.sharedHandlesBegin()) key += '/';
        if (readCell(message, nullptr, *it, m_text)) key += m_text;
    }
    return key;
}

void LongRows::addCells(const pwr::TableMessage& message, ResultFile& file) {
    std::string key = sharedKeyOf_i(message);
    if (message.getEntityCount() == 0) {
        const bool isKeyless = message.getSharedHandleCount() == 0 && message.getHandleCount() != 0;
        if (isKeyless && readCell(message, nullptr, *message.handlesBegin(), m_text)) key = m_text;
        addCellsOf_i(message, nullptr, key, file);
        return;
    }
    if (message.getSharedHandleCount() != 0) key += '/';
    for (auto it = message.entitiesBegin(); it != message.entitiesEnd(); ++it)
        addCellsOf_i(message, *it, key + (*it)->getName(), file);
}

void LongRows::addCellsOf_i(const pwr::TableMessage& message, const pwr::EntityHandle* entity,
                            std::string_view key, ResultFile& file) {
    for (auto it = message.handlesBegin(); it != message.handlesEnd(); ++it) {
        if (!readCell(message, entity, *it, m_text)) continue;
        m_row = m_run;
        m_row += m_start;
        appendColumn(message.getTitle(), m_row);
        appendColumn(key, m_row);
        appendColumn(*it != nullptr ? (*it)->getHeader() : std::string_view(), m_row);
        appendCsv(m_text, m_row);
        m_row += '\n';
        file.append(m_row);
        file.endRecord();
    }
}

}  // namespace exporting
