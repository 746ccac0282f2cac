#include "export/html/html_writer.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "export/result_file.h"
#include "export/run_clock.h"
#include "export/run_name.h"
#include "plugins/log.h"
#include "plugins/memory_guard.h"
#include "plugins/prefetch.h"
#include "plugins/writer_plugin_capability.h"

namespace exporting {

namespace {

constexpr const char* NAME = "html";
constexpr std::size_t DEFAULT_POINTS = 2'000'000;
constexpr unsigned MOST_SHIFT = 62;

std::size_t mostPoints() {
    const char* const text = std::getenv("PWR_MAX_POINTS");
    if (text == nullptr) return DEFAULT_POINTS;
    const char* const end = text + std::strlen(text);
    std::size_t number = 0;
    const auto [rest, error] = std::from_chars(text, end, number);
    return error == std::errc() && rest == end && number != 0 ? number : DEFAULT_POINTS;
}

}  // namespace

HtmlWriter::HtmlWriter()
    : WriterPlugin("7c0f5b7e-53b7-4c0e-9d0a-6f1c2b1c5a38"),
      m_mostPoints(DEFAULT_POINTS),
      m_nextReduction(DEFAULT_POINTS) {
    addCapability(new pwr::WriterPluginCapability(
        {pwr::TABLE_CLASS_SUMMARY}, NAME, "Write a page with pictures (.html) that opens in any browser",
        ".html", false));
}

HtmlWriter::~HtmlWriter() = default;

std::int32_t HtmlWriter::init(const std::string& outputName, bool) {
    return guardMemory(NAME, 1, [&] {
        m_outputName = outputName;
        m_mostPoints = m_nextReduction = mostPoints();
        return 0;
    });
}

std::int32_t HtmlWriter::fini() {
    if (m_system == nullptr) {
        LOG_WARNING("There was no system message, so %s.html is not written\n", m_outputName.c_str());
        return 1;
    }
    return guardMemory(NAME, 1, [&] {
        write_i();
        return 0;
    });
}

void HtmlWriter::write_i() {
    if (m_isReduced) reduceTo_i(m_shift);
    for (Lane& lane : m_lanes)
        for (const auto& series : lane.m_series) series->sort();

    ResultFile page;
    page.open(resultPath(m_outputName, "", ".html", std::nullopt));
    appendPage(page, {runName(m_outputName), *m_system, m_lanes, m_tables, m_notes, m_refused, m_isReduced,
                      m_shift});
    page.endRecord();
    page.close();
}

std::int32_t HtmlWriter::writeMessage(const pwr::SystemMessage& message) {
    m_system = message.m_metadata;
    m_ticksPerSecond = RunClock(*m_system).ticksPerSecond();
    return 0;
}

std::int32_t HtmlWriter::writeMessage(const pwr::TableMessage& message) {
    return guardMemory(NAME, 1, [&] {
        m_tables.take(message, *this);
        return 0;
    });
}

std::int32_t HtmlWriter::writeMessage(const pwr::MetricContainerInfoMessage& message) {
    return guardMemory(NAME, 1, [&] {
        m_tables.describe(message);
        return 0;
    });
}

// The lines for a report's head say what the page's head says.
std::int32_t HtmlWriter::writeMessage(const pwr::TextMessage& message) {
    return guardMemory(NAME, 1, [&] {
        if (message.getMessageType() == pwr::MESSAGE_TEXT) m_notes.push_back(message.m_text);
        return 0;
    });
}

std::int32_t HtmlWriter::writeMessage(const pwr::Metric& metric) {
    return guardMemory(NAME, 1, [&] {
        if (m_ticksPerSecond > 0)
            take_i(metric);
        else
            m_refused += metric.getData().elements.size();
        return 0;
    });
}

Lane& HtmlWriter::laneOf_i(const pwr::Metric& metric) {
    Lane*& lane = m_lanesByKey[std::uint64_t{metric.m_metricType} << 32 | metric.m_id];
    if (lane == nullptr) lane = &m_lanes.emplace_back(metric, m_ticksPerSecond);
    return *lane;
}

void HtmlWriter::take_i(const pwr::Metric& metric) {
    const pwr::Metric::Sample& sample = metric.getData();
    if (sample.elements.empty()) return;
    Lane& lane = laneOf_i(metric);
    const auto time = static_cast<std::int64_t>(sample.timestamp - m_system->m_collectionStart);
    lane.m_firstTime = lane.m_messages == 0 ? time : std::min(lane.m_firstTime, time);
    lane.m_lastTime = lane.m_messages++ == 0 ? time : std::max(lane.m_lastTime, time);
    auto* const places =
        m_places.placesOf(std::uint64_t{metric.m_metricType} << 32 | metric.m_id, sample.elements.size());
    for (std::size_t i = 0; i < sample.elements.size(); ++i) {
        prefetchAfter(sample.elements, i);
        const pwr::DataElement& element = *sample.elements[i];
        auto& place = places[i];
        const bool isKnown = place.target != nullptr && Lane::isByDescriptor(metric, element) &&
                             place.isOf(element.getEntity(), element.getDescriptor());
        if (!isKnown) place = {element.getEntity(), element.getDescriptor(), &lane.seriesOf(element)};
        place.target->append({time, element.getDuration(), lane.numberOf(element)});
        if (++m_points > m_nextReduction) reduce_i();
    }
}

std::size_t HtmlWriter::countAt_i(unsigned shift) const {
    std::size_t count = 0;
    for (const Lane& lane : m_lanes)
        for (const auto& series : lane.m_series) count += series->leavesAt(shift);
    return count;
}

void HtmlWriter::reduceTo_i(unsigned shift) {
    m_points = 0;
    for (Lane& lane : m_lanes)
        for (const auto& series : lane.m_series) {
            series->reduce(shift, lane.m_measure);
            m_points += series->points();
        }
}

// Leaves room for a quarter more, so that this does not happen with every element, nor if there are more
// series than there may be points.
void HtmlWriter::reduce_i() {
    const std::size_t room = m_mostPoints - m_mostPoints / 4;
    reduceTo_i(m_shift);
    m_isReduced = true;
    if (m_points > room) {
        while (m_shift < MOST_SHIFT && countAt_i(m_shift) > room) ++m_shift;
        reduceTo_i(m_shift);
    }
    m_nextReduction = m_points > room ? std::max(m_mostPoints, 2 * m_points) : m_mostPoints;
}

}  // namespace exporting
