#include "export/openmetrics/series.h"

#include <algorithm>
#include <cmath>

namespace exporting::openmetrics {

bool ExactSum::add(double summand) {
    const double sum = m_sum + summand;
    if (!std::isfinite(sum)) return false;
    const bool isSmaller = std::abs(summand) <= std::abs(m_sum);
    m_lost += isSmaller ? (m_sum - sum) + summand : (summand - sum) + m_sum;
    m_sum = sum;
    return true;
}

Outcome SeriesWriter::set(Series& series, std::int64_t stamp, double value) {
    if (stamp < series.lastStamp) return Outcome::LeftOut;
    return put_i(series, {stamp, value * series.factor / series.divisor});
}

Outcome SeriesWriter::add(Series& series, std::int64_t begin, std::int64_t stamp, double rise) {
    const auto total = [&series] { return series.sum.value() * series.factor / series.divisor; };
    const double before = total();
    if (!series.sum.add(rise)) return Outcome::LeftOut;
    begin = std::max(begin, series.lastStamp);
    if (!series.hasPending && begin >= 0 && begin < stamp) {
        series.pending = {begin, before};
        series.hasPending = true;
        series.isPendingSample = false;
    }
    if (stamp >= series.lastStamp) return put_i(series, {stamp, total()});
    if (series.hasPending) series.pending.value = total();
    return Outcome::Merged;
}

Outcome SeriesWriter::put_i(Series& series, Point point) {
    const bool isReplacing = series.hasPending && point.stamp == series.pending.stamp;
    const bool isMerged = isReplacing && series.isPendingSample;
    if (series.hasPending && !isReplacing) keep_i(series);
    series.pending = point;
    series.hasPending = true;
    series.isPendingSample = true;
    series.lastStamp = point.stamp;
    return isMerged ? Outcome::Merged : Outcome::Kept;
}

void SeriesWriter::keep_i(Series& series) {
    m_isGood = m_isGood && m_spool.append(series.points, m_count, series.pending);
}

void SeriesWriter::finish(Series& series) {
    if (series.hasPending) keep_i(series);
    series.hasPending = false;
}

}  // namespace exporting::openmetrics
