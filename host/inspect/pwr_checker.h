#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "host/inspect/damage_report.h"
#include "host/inspect/pwr_record.h"

namespace host::inspect {

// Verifies what holds for a .pwr file beyond the form of each record: the order of records, and time. The
// first violation is reported and ends the checks.
class PwrChecker {
public:
    explicit PwrChecker(DamageReport& report) : m_report(report) {}

    // Reports `what` if nothing has been reported of the file so far.
    void fault(std::uint64_t offset, const std::string& what);

    // To be called for each record in turn, before its contents are looked at.
    void checkPlace(const PwrRecord& record);

    // What the records state that others must keep to.
    void setStart(std::uint64_t tsc) { m_start = tsc; }
    void checkVersion(const PwrRecord& record, std::uint16_t version);
    void beginMetric(const PwrRecord& record, std::uint32_t metric);

    // A sample of the current block, and of an entity in it.
    void checkSampleMetric(const PwrRecord& record, std::uint64_t metric);
    void checkTime(const PwrRecord& record, std::uint64_t entity, std::uint64_t tsc);

    // To be called at the end of the file.
    void checkEnd(std::uint64_t offset);

private:
    enum class Block { Head, Metric, Wakelock };

    void checkHead_i(const PwrRecord& record);
    void checkBody_i(const PwrRecord& record);

    DamageReport& m_report;
    std::size_t m_count = 0;  // records so far
    bool m_isClosed = false;  // the second magic record has come
    Block m_block = Block::Head;
    std::uint16_t m_version = 0;
    std::uint64_t m_start = 0;
    std::uint32_t m_metric = 0;
    bool m_hasMetric = false;
    std::map<std::uint64_t, std::uint64_t> m_times;  // latest time by entity, within the current metric
};

}  // namespace host::inspect
