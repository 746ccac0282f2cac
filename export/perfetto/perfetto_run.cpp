#include "export/perfetto/perfetto_run.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "export/result_file.h"
#include "plugins/log.h"

namespace exporting {

namespace {

// 2^53: up to here each whole number is one of its own.
constexpr double WHOLE_IN_DOUBLE = 9007199254740992.0;

// How the number takes the least room. Readers keep reals.
CounterValue counterOf(Track& track, double number) {
    const bool isWhole = std::abs(number) <= WHOLE_IN_DOUBLE && number == std::floor(number);
    return {&track, isWhole, isWhole ? static_cast<std::int64_t>(number) : 0, number};
}

// `text` holds what the annotation refers to.
Annotation annotationOf(const pwr::Data& data, const Value& value, std::string& text) {
    Annotation annotation;
    if (data.m_type == pwr::DATA_INT) {
        long number = 0;
        data.toInt(number);
        annotation.kind = Annotation::Kind::Signed;
        annotation.signedValue = number;
    } else if (data.m_type == pwr::DATA_UINT) {
        unsigned long number = 0;
        data.toUInt(number);
        annotation.kind = Annotation::Kind::Unsigned;
        annotation.unsignedValue = number;
    } else if (data.m_type == pwr::DATA_REAL) {
        annotation.kind = Annotation::Kind::Real;
        annotation.real = value.low;
    } else if (data.m_type != pwr::DATA_NONE) {
        annotation.kind = Annotation::Kind::Text;
        text.clear();
        if (value.kind == ValueKind::Text)
            text = value.text;
        else
            data.toFormattedString(text);
        annotation.text = text;
    }
    return annotation;
}

// Without a frequency ticks are taken for nanoseconds.
long double nanosecondsPerTick(double frequency) {
    return frequency > 0 && std::isfinite(frequency) ? 1000.0L / frequency : 1.0L;
}

}  // namespace

PerfettoRun::PerfettoRun(const std::string& outputName, bool continuous, const pwr::SystemMetadata& metadata)
    : m_outputName(outputName),
      m_continuous(continuous),
      m_start(metadata.m_collectionStart),
      m_wall(metadata.m_collectionTime),
      m_nanosecondsPerTick(nanosecondsPerTick(metadata.m_tscFrequency)) {}

void PerfettoRun::openFile_i() {
    if (m_file.isOpen()) return;
    const std::string path =
        resultPath(m_outputName, "", ".perfetto-trace", m_continuous ? std::optional(m_part) : std::nullopt);
    std::uint64_t origin = 0;
    const bool isShown = time_i(m_start, origin) && m_wall <= LAST_TIME;
    m_file.begin(path, origin, isShown ? m_wall : 0);
}

void PerfettoRun::completeFile_i(const pwr::SystemMetadata& metadata) {
    openFile_i();
    for (const pwr::DataHandle* owner : m_owners) lifeTime_i(*owner, metadata);
    m_owners.clear();
    m_isOwner.clear();
    m_file.end();
    ++m_part;
}

bool PerfettoRun::flush(const pwr::SystemMetadata& metadata) {
    completeFile_i(metadata);
    return true;
}

std::int32_t PerfettoRun::finish(const pwr::SystemMetadata& metadata) {
    if (!m_continuous || m_file.isOpen()) completeFile_i(metadata);
    if (m_leftOut != 0)
        LOG_NOTE("%s: %llu elements left out: numbers that are none, or times beyond the trace's clock\n",
                 NAME, static_cast<unsigned long long>(m_leftOut));
    return 0;
}

// Nanoseconds of the trace's clock. False beyond its end.
bool PerfettoRun::time_i(std::uint64_t ticks, std::uint64_t& nanoseconds) const {
    const long double exact = static_cast<long double>(ticks) * m_nanosecondsPerTick;
    if (exact > static_cast<long double>(LAST_TIME)) return false;
    nanoseconds = static_cast<std::uint64_t>(exact + 0.5L);
    return true;
}

// The time at which the element's interval begins, not before the clock's.
bool PerfettoRun::begin_i(const pwr::DataElement& element, std::uint64_t ticks,
                          std::uint64_t& nanoseconds) const {
    const std::uint64_t duration = element.getDuration();
    return time_i(duration < ticks ? ticks - duration : 0, nanoseconds);
}

std::int32_t PerfettoRun::add(const pwr::Metric& metric) {
    openFile_i();
    const pwr::Metric::Sample& sample = metric.getData();
    m_tracks.begin(metric);
    for (std::size_t i = 0; i < sample.elements.size(); ++i) {
        const pwr::DataElement& element = *sample.elements[i];
        ItemTracks& item = m_tracks.at(i, element);
        readValue(*element.getValue(), m_value);
        if (metric.m_metricType == pwr::Metric::TRACED_EVENT)
            event_i(element, sample.timestamp, item);
        else if (metric.m_metricType == pwr::Metric::TRACED_VALUE_TRANSITION)
            transition_i(*item.entity, element, sample.timestamp, item);
        else
            sampled_i(metric, element, sample.timestamp, item);
    }
    writeCounters_i();
    return 0;
}

void PerfettoRun::sampled_i(const pwr::Metric& metric, const pwr::DataElement& element, std::uint64_t ticks,
                            ItemTracks& item) {
    if (m_value.kind == ValueKind::Text) return transition_i(m_tracks.texts(item), element, ticks, item);
    std::uint64_t begin = 0;
    if (!begin_i(element, ticks, begin) || !numbers_i(metric, element, begin, item)) ++m_leftOut;
}

// A counter holds until its next value, so it changes where the element's interval begins. Counters that
// change together share an event.
bool PerfettoRun::numbers_i(const pwr::Metric& metric, const pwr::DataElement& element, std::uint64_t begin,
                            ItemTracks& item) {
    if (m_value.kind == ValueKind::None) return false;
    const bool isRange = m_value.kind == ValueKind::Range;
    double low = m_value.low;
    double high = isRange ? m_value.high : low;
    if (isResidency(metric)) {
        const auto duration = static_cast<double>(element.getDuration());
        low = duration > 0 ? 100.0 * low / duration : 0.0;
        high = duration > 0 ? 100.0 * high / duration : 0.0;
    }
    if (!std::isfinite(low) || !std::isfinite(high)) return false;
    if (begin != m_countersTime) writeCounters_i();
    m_countersTime = begin;
    m_counters.push_back(counterOf(m_tracks.value(item), low));
    if (isRange) m_counters.push_back(counterOf(m_tracks.high(item), high));
    return true;
}

void PerfettoRun::writeCounters_i() {
    if (!m_counters.empty()) m_file.counters(m_countersTime, m_counters);
    m_counters.clear();
}

// A slice from the begin of the interval to its end, cut where the one before it has not ended.
void PerfettoRun::transition_i(Track& track, const pwr::DataElement& element, std::uint64_t ticks,
                               const ItemTracks& item) {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
    if (!begin_i(element, ticks, begin) || !time_i(ticks, end) || end < track.lastEnd) {
        ++m_leftOut;
        return;
    }
    m_text.clear();
    if (m_value.kind == ValueKind::Number || m_value.kind == ValueKind::Range)
        element.getValue()->toFormattedString(m_text);
    else
        m_text = m_value.kind == ValueKind::Text ? m_value.text : item.name;
    m_file.slice(track, std::max(begin, track.lastEnd), end, m_text);
    track.lastEnd = end;
    if (const Owner owner = ownerOf(element); owner.isKnown()) trackOf_i(owner, track);
}

void PerfettoRun::event_i(const pwr::DataElement& element, std::uint64_t ticks, const ItemTracks& item) {
    std::uint64_t time = 0;
    if (!time_i(ticks, time)) {
        ++m_leftOut;
        return;
    }
    Track& track = trackOf_i(ownerOf(element), *item.entity);
    m_file.instant(track, time, m_value.kind == ValueKind::Text ? m_value.text : item.name,
                   annotationOf(*element.getValue(), m_value, m_text));
}

// The track of the thread or process, which then has a life time in this file, or else `other`.
Track& PerfettoRun::trackOf_i(const Owner& owner, Track& other) {
    const auto name = [this](const pwr::DataHandle* handle) {
        if (m_isOwner.insert(handle).second) m_owners.push_back(handle);
    };
    Track* track = &other;
    if (owner.process != nullptr) {
        name(owner.process);
        track = &m_tracks.process(*owner.process);
    }
    if (owner.thread != nullptr) {
        name(owner.thread);
        track = &m_tracks.thread(*owner.thread);
    }
    return *track;
}

// A start or end of 0 is not known: the collection's stands for it.
void PerfettoRun::lifeTime_i(const pwr::DataHandle& owner, const pwr::SystemMetadata& metadata) {
    const auto* const process = dynamic_cast<const pwr::Process*>(&owner);
    const auto* const thread = dynamic_cast<const pwr::Thread*>(&owner);
    Track& track = process != nullptr ? m_tracks.process(*process) : m_tracks.thread(*thread);
    const std::uint64_t start = process != nullptr ? process->getStartTime() : thread->getStartTime();
    const std::uint64_t stop = process != nullptr ? process->getEndTime() : thread->getEndTime();
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
    if (time_i(start != 0 ? start : metadata.m_collectionStart, begin) &&
        time_i(stop != 0 ? stop : metadata.m_collectionStop, end) && begin <= end)
        m_file.slice(track, begin, end, track.name);
}

}  // namespace exporting
