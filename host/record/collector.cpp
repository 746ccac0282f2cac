#include "host/record/collector.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "host/base/text.h"

namespace host::record {

Collector::Collector(const RecordOptions& options, const Root& root, Clock& clock, emit::LineSink sink,
                     Warn warn)
    : m_options(options),
      m_root(root),
      m_clock(clock),
      m_warn(std::move(warn)),
      m_output(options.save, std::move(sink), m_warn) {}

Collector::~Collector() = default;

double Collector::seconds_i(std::uint64_t ticks) const {
    return static_cast<double>(ticks) / m_clock.ticksPerUsec() / 1e6;
}

std::uint64_t Collector::ticks_i(double seconds) const {
    const double ticks = seconds * 1e6 * m_clock.ticksPerUsec();
    return ticks < 1e18 ? static_cast<std::uint64_t>(std::llround(ticks)) : std::uint64_t{1} << 60;
}

RecordResult Collector::run() {
    if (!m_output.open()) return RecordResult::Failed;
    m_part = std::make_unique<Part>(m_options, m_root, m_clock, m_own, m_warn, true);
    m_part->prepare();
    if (!begin_i()) return RecordResult::NotStarted;
    Progress progress(m_options.progress, m_options.seconds);
    collect_i(progress);
    progress.clear();
    if (m_onReport) m_part->addReport(m_onReport);
    if (m_parts != nullptr) {
        endPart_i();
        m_parts->reap(true);
        return RecordResult::Complete;
    }
    const bool isWhole = m_part->deliver([this](std::string_view line) { return m_output.line(line); });
    return m_output.finish(isWhole);
}

// Hands the part over that has been finished.
void Collector::endPart_i() {
    if (!m_options.continuous) return m_parts->deliver(*m_part);
    m_part->deliver({});
    m_parts->close();
}

emit::LineSink Collector::sink_i() {
    if (m_parts != nullptr) return m_parts->open();
    return [this](std::string_view line) { return m_output.line(line); };
}

bool Collector::isPartFull_i() const {
    if (m_options.rotateBytes > 0 && m_part->bytes() >= m_options.rotateBytes) return true;
    return m_options.rotateSec > 0 && m_part->lastSample() - m_part->start() >= ticks_i(m_options.rotateSec);
}

// The next part begins at the tick at which this one stops, with counters read at the same time.
void Collector::rotate_i() {
    auto next = std::make_unique<Part>(m_options, m_root, m_clock, m_own, m_warn, false);
    next->prepare();
    const std::uint64_t now = std::max(m_clock.ticks(), m_part->lastSample() + 1);
    m_own.cpuUsec = m_clock.cpuUsec();
    m_part->sample(now, true);
    next->baseline(now);
    if (m_options.tee) m_part->flushTee(now);
    m_part->finish(now);
    endPart_i();
    m_part = std::move(next);
    if (m_options.tee) m_part->tee(m_options.tee, now + ticks_i(m_options.rotateSec));
    m_clock.wakeOn(m_part->wakeDescriptor());
    if (m_options.continuous) m_part->goLive(sink_i(), now + ticks_i(m_options.rotateSec));
    m_nextFlush = now + ticks_i(m_options.flushEverySec);
}

// From here on counters count.
bool Collector::begin_i() {
    const std::uint64_t wanted = ticks_i(m_options.seconds);
    m_own.cpuUsec = m_clock.cpuUsec();
    m_clock.takeSuspendedTicks();
    m_start = m_clock.ticks();
    m_part->baseline(m_start);
    m_clock.wakeOn(m_part->wakeDescriptor());
    if (m_onStart && !m_onStart()) return false;
    if (m_options.tee) m_part->tee(m_options.tee, m_start + wanted);
    if (m_options.continuous) m_part->goLive(sink_i(), m_start + wanted);
    return true;
}

void Collector::collect_i(Progress& progress) {
    const std::uint64_t wanted = ticks_i(m_options.seconds);
    m_nextFlush = m_start + ticks_i(m_options.flushEverySec);
    const std::uint64_t end = wanted > 0 ? m_start + wanted : ~std::uint64_t{0};
    bool isInterrupted = false;
    while (m_part->isOpen() && m_part->lastSample() < end && !isInterrupted) {
        isInterrupted = !m_clock.waitUntil(std::min(m_part->due(), end));
        const bool isEarly = m_clock.ticks() < std::min(m_part->due(), end);
        if (isEarly && !isInterrupted) m_part->drain();
        if (!isInterrupted && !isEarly) wake_i(end);
        if (m_parts != nullptr) m_parts->reap();
        if (m_parts != nullptr && isPartFull_i() && m_part->lastSample() < end) rotate_i();
        progress.update(seconds_i(m_part->lastSample() - m_start), m_part->samples());
    }
    // What has happened since the last sample belongs to the collection, too.
    if (isInterrupted && m_clock.ticks() > m_part->lastSample()) wake_i(0);
    const std::uint64_t stop = std::max(m_clock.ticks(), m_part->lastSample() + 1);
    if (m_options.tee) m_part->flushTee(stop);
    const std::string reason = isInterrupted ? m_clock.interruption() : "";
    m_part->finish(stop, reason);
    if (!reason.empty())
        m_warn("ended by " + reason + " after " + base::fixedText(seconds_i(stop - m_start), 2) +
               " s; all files are being completed");
}

// Samples what is due; everything from `end` on, which is the end.
void Collector::wake_i(std::uint64_t end) {
    m_own.suspendedTicks = m_clock.takeSuspendedTicks();
    m_own.cpuUsec = m_clock.cpuUsec();
    const std::uint64_t now = std::max(m_clock.ticks(), m_part->lastSample() + 1);
    if (m_own.suspendedTicks > 0) return m_part->restart(now);
    if (m_part->sample(now, now >= end)) ++m_own.lateSamples;
    if ((m_options.continuous || m_options.tee) && now >= m_nextFlush) {
        if (m_options.continuous) m_part->flush(now);
        if (m_options.tee) m_part->flushTee(now);
        m_nextFlush = now + ticks_i(m_options.flushEverySec);
    }
}

}  // namespace host::record
