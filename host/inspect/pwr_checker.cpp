#include "host/inspect/pwr_checker.h"

#include <iterator>

namespace host::inspect {

namespace {

// The kinds that open a file, in this order.
constexpr PwrKind OPENING[] = {
    PwrKind::Magic,      PwrKind::CollectionInfo, PwrKind::SystemInfo, PwrKind::HardwareConfiguration,
    PwrKind::HeadMarker, PwrKind::PowerThreshold, PwrKind::Info};

}  // namespace

void PwrChecker::fault(std::uint64_t offset, const std::string& what) {
    if (m_report.count() == 0) m_report.add(offset, what);
}

void PwrChecker::checkPlace(const PwrRecord& record) {
    if (m_isClosed)
        checkBody_i(record);
    else
        checkHead_i(record);
    ++m_count;
}

void PwrChecker::checkHead_i(const PwrRecord& record) {
    if (m_count < std::size(OPENING)) {
        const PwrKind due = OPENING[m_count];
        if (record.kind != due) {
            fault(record.offset, withArticle(record.kind) + " stands in place of " + withArticle(due) +
                                     " in the header block");
        }
        return;
    }
    switch (record.kind) {
        case PwrKind::Magic:
            m_isClosed = true;
            return;
        case PwrKind::Info:
        case PwrKind::Process:
        case PwrKind::Thread:
            return;
        default:
            fault(record.offset, withArticle(record.kind) + " stands in front of the closing Magic record");
    }
}

void PwrChecker::checkBody_i(const PwrRecord& record) {
    switch (record.kind) {
        case PwrKind::Metric:
            return;
        case PwrKind::Sample:
            if (m_block != Block::Metric)
                fault(record.offset, "a Sample record stands outside the block of a metric");
            return;
        case PwrKind::KernelWakelock:
        case PwrKind::UserWakelock:
        case PwrKind::Package:
            m_block = Block::Wakelock;
            return;
        default:
            fault(record.offset, withArticle(record.kind) + " stands behind the header block");
    }
}

void PwrChecker::checkVersion(const PwrRecord& record, std::uint16_t version) {
    if (version != 1 && version != 2)
        fault(record.offset, "unknown format version " + std::to_string(version));
    else if (m_version != 0 && m_version != version)
        fault(record.offset, "format version " + std::to_string(version) + " in a file of version " +
                                 std::to_string(m_version));
    m_version = version;
}

void PwrChecker::beginMetric(const PwrRecord& record, std::uint32_t metric) {
    if (m_hasMetric && metric <= m_metric)
        fault(record.offset, "the block of metric " + std::to_string(metric) +
                                 " stands behind that of metric " + std::to_string(m_metric));
    m_block = Block::Metric;
    m_hasMetric = true;
    m_metric = metric;
    m_times.clear();
}

void PwrChecker::checkSampleMetric(const PwrRecord& record, std::uint64_t metric) {
    if (m_block == Block::Metric && metric != m_metric)
        fault(record.offset, "a sample of metric " + std::to_string(metric) +
                                 " stands in the block of metric " + std::to_string(m_metric));
}

void PwrChecker::checkTime(const PwrRecord& record, std::uint64_t entity, std::uint64_t tsc) {
    const auto [previous, isFirst] = m_times.try_emplace(entity, tsc);
    if (isFirst && tsc < m_start)
        fault(record.offset, "time " + std::to_string(tsc) + " of entity " + std::to_string(entity) +
                                 " lies before the start " + std::to_string(m_start));
    // The writer takes any number of samples at the very start.
    const bool isAtStart = tsc == m_start && previous->second == m_start;
    if (!isFirst && tsc <= previous->second && !isAtStart)
        fault(record.offset, "time " + std::to_string(tsc) + " of entity " + std::to_string(entity) +
                                 " does not lie behind " + std::to_string(previous->second));
    previous->second = tsc;
}

void PwrChecker::checkEnd(std::uint64_t offset) {
    if (!m_isClosed) fault(offset, "the file ends without the closing Magic record");
}

}  // namespace host::inspect
