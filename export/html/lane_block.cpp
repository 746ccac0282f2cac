#include "export/html/lane_block.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "export/html/column.h"

namespace exporting {

namespace {

// The first byte of a series.
enum class Form : std::uint8_t { Samples = 0, Leaves = 1 };

// The first byte of a column of durations: as they are, or what they exceed the step from the stamp before
// by.
enum class DurationForm : std::uint8_t { Plain = 0, BeyondStep = 1 };

template <typename Item, typename Read>
std::vector<double> columnOf(const std::vector<Item>& items, Read read) {
    std::vector<double> column(items.size());
    std::transform(items.begin(), items.end(), column.begin(),
                   [&](const Item& item) { return static_cast<double>(read(item)); });
    return column;
}

double bitsOf(const std::vector<double>& column) {
    double bits = 0;
    for (const double number : column) bits += std::log2(1 + std::abs(number - column.back()));
    return bits;
}

}  // namespace

void LaneBlock::add(const Series& series) {
    const bool isReduced = !series.leaves().empty();
    m_bytes.push_back(static_cast<std::uint8_t>(isReduced ? Form::Leaves : Form::Samples));
    if (isReduced)
        addLeaves_i(series.leaves());
    else
        addSamples_i(series.samples());
    m_before.swap(m_columns);
    m_columns.clear();
    write_i();
}

void LaneBlock::addSamples_i(const std::vector<Sample>& samples) {
    const auto isSkipped = [](const Sample& sample) { return std::isnan(sample.value); };
    const Column times = columnOf(samples, [](const Sample& s) { return s.time; });
    addColumn_i(0, times);
    addDurations_i(1, times, columnOf(samples, [](const Sample& s) { return s.duration; }));
    addColumn_i(2, columnOf(samples, [&](const Sample& s) { return isSkipped(s) ? 0.0 : s.value; }));
    addColumn_i(3, columnOf(samples, isSkipped));
}

void LaneBlock::addLeaves_i(const std::vector<Leaf>& leaves) {
    const Column times = columnOf(leaves, [](const Leaf& leaf) { return leaf.last; });
    addColumn_i(0, times);
    addDurations_i(1, times, columnOf(leaves, [](const Leaf& leaf) { return leaf.duration; }));
    addColumn_i(2, columnOf(leaves, [](const Leaf& leaf) { return leaf.sum; }));
    addColumn_i(3, columnOf(leaves, [](const Leaf& leaf) { return leaf.skipped; }));
    addColumn_i(4, columnOf(leaves, [](const Leaf& leaf) { return leaf.last - leaf.first; }));
    addColumn_i(5, columnOf(leaves, [](const Leaf& leaf) { return leaf.count; }));
    addColumn_i(6, columnOf(leaves, [](const Leaf& leaf) { return leaf.weighted; }));
    addColumn_i(7, columnOf(leaves, [](const Leaf& leaf) { return leaf.least; }));
    addColumn_i(8, columnOf(leaves, [](const Leaf& leaf) { return leaf.most; }));
}

void LaneBlock::addColumn_i(std::size_t place, Column column) {
    const auto copied = std::find(m_columns.begin(), m_columns.end(), column);
    if (place < m_before.size() && m_before[place] == column)
        encodeSame(m_bytes);
    else if (copied != m_columns.end())
        encodeCopy(static_cast<std::uint8_t>(copied - m_columns.begin()), m_bytes);
    else
        encodeColumn(column, m_bytes);
    m_columns.push_back(std::move(column));
    write_i();
}

void LaneBlock::addDurations_i(std::size_t place, const Column& times, Column durations) {
    Column beyond(durations);
    for (std::size_t i = 1; i < beyond.size(); ++i) beyond[i] -= times[i] - times[i - 1];
    const bool isExact = std::all_of(durations.begin(), durations.end(),
                                     [](double duration) { return duration < 1125899906842624.0; });
    const bool isRelative = isExact && bitsOf(beyond) < bitsOf(durations);
    m_bytes.push_back(static_cast<std::uint8_t>(isRelative ? DurationForm::BeyondStep : DurationForm::Plain));
    addColumn_i(place, isRelative ? std::move(beyond) : std::move(durations));
}

void LaneBlock::write_i() {
    m_block.write(m_bytes.data(), m_bytes.size());
    m_bytes.clear();
}

}  // namespace exporting
