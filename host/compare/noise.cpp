#include "host/compare/noise.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <random>
#include <span>
#include <utility>

#include "host/compare/comparison.h"
#include "host/compare/differences.h"
#include "host/compare/rank_sum_test.h"

namespace host::compare {

namespace {

constexpr double INFINITE = std::numeric_limits<double>::infinity();
constexpr std::uint64_t SEED = 20240501;

// For every halving and run whether it is in the second half.
using Halvings = std::vector<std::vector<bool>>;

Halvings drawHalvings(std::size_t runs) {
    // The shuffle is spelled out: that of the standard library may differ from one to the next.
    std::mt19937_64 random(SEED);
    Halvings halvings;
    std::vector<bool> half(runs, false);
    std::fill(half.begin() + static_cast<std::ptrdiff_t>(runs / 2), half.end(), true);
    for (std::size_t i = 0; i < HALVINGS; ++i) {
        for (std::size_t place = runs; place > 1; --place) {
            const std::size_t other = random() % place;
            const bool kept = half[other];
            half[other] = half[place - 1];
            half[place - 1] = kept;
        }
        halvings.push_back(half);
    }
    return halvings;
}

// The quantile as a point between the two numbers next to it.
double quantile(std::vector<double>& numbers, double share) {
    std::sort(numbers.begin(), numbers.end());
    const double place = static_cast<double>(numbers.size() - 1) * share;
    const auto below = static_cast<std::size_t>(place);
    const double part = place - static_cast<double>(below);
    if (part == 0 || numbers[below] == numbers[below + 1]) return numbers[below];
    return numbers[below] + part * (numbers[below + 1] - numbers[below]);
}

class NoiseMeter {
public:
    NoiseMeter(const RunTable& table, double level)
        : m_table(table), m_level(level), m_halvings(drawHalvings(table.runs(0))) {}

    ColumnNoise measure(std::size_t column);

private:
    void split_i(std::size_t column, const std::vector<bool>& isSecond);
    double change_i();
    double neededShift_i();

    const RunTable& m_table;
    double m_level;
    Halvings m_halvings;
    Differences m_differences;
    std::array<std::vector<double>, 2> m_halves;
    std::map<std::pair<std::size_t, std::size_t>, std::size_t> m_criticalCounts;
};

void NoiseMeter::split_i(std::size_t column, const std::vector<bool>& isSecond) {
    const std::span<const double> numbers = m_table.numbers(column, 0);
    const std::span<const std::uint16_t> runs = m_table.runsOf(column, 0);
    for (std::vector<double>& half : m_halves) half.clear();
    for (std::size_t i = 0; i < numbers.size(); ++i)
        m_halves[isSecond[runs[i]] ? 1 : 0].push_back(numbers[i]);
    for (std::vector<double>& half : m_halves) std::sort(half.begin(), half.end());
}

// The magnitude of the change between the halves; infinite from a median of 0 to anything else.
double NoiseMeter::change_i() {
    m_differences.set(m_halves[0], m_halves[1]);
    const double shift = std::abs(m_differences.median());
    return shift == 0 ? 0 : shift / std::abs(medianOfSorted(m_halves[0]));
}

// What must be added to the second half for a p of at most the level: then so many differences are above 0.
double NoiseMeter::neededShift_i() {
    const std::size_t sizeA = m_halves[0].size();
    const std::size_t sizeB = m_halves[1].size();
    if (std::min(sizeA, sizeB) < MIN_TESTED) return INFINITE;
    const auto [place, isNew] = m_criticalCounts.try_emplace({sizeA, sizeB}, 0);
    if (isNew) place->second = criticalCount(sizeA, sizeB, m_level);
    if (place->second > sizeA * sizeB) return INFINITE;
    m_differences.set(m_halves[0], m_halves[1]);
    return place->second == 0 ? 0 : std::max(0.0, -m_differences.largest(place->second));
}

ColumnNoise NoiseMeter::measure(std::size_t column) {
    std::vector<double> changes;
    std::vector<double> shifts;
    for (const std::vector<bool>& isSecond : m_halvings) {
        split_i(column, isSecond);
        if (m_halves[0].empty() || m_halves[1].empty()) continue;
        changes.push_back(change_i());
        shifts.push_back(neededShift_i());
    }
    ColumnNoise result{column, std::nullopt, std::nullopt};
    if (changes.empty()) return result;
    const double noise = quantile(changes, 0.95);
    if (std::isfinite(noise)) result.m_noise = noise;
    std::vector<double> sorted(m_table.numbers(column, 0).begin(), m_table.numbers(column, 0).end());
    std::sort(sorted.begin(), sorted.end());
    const double seen = quantile(shifts, 0.8) / std::abs(medianOfSorted(sorted));
    if (std::isfinite(seen)) result.m_seen = seen;
    return result;
}

bool isTestable(std::span<const double> numbers) {
    return numbers.size() >= 2 * MIN_TESTED &&
           std::any_of(numbers.begin(), numbers.end(), [&](double x) { return x != numbers[0]; });
}

}  // namespace

std::vector<ColumnNoise> measureNoise(const RunTable& table, double alpha) {
    std::size_t tested = 0;
    for (std::size_t column = 0; column < table.columns(); ++column)
        if (isTestable(table.numbers(column, 0))) ++tested;
    NoiseMeter meter(table, alpha / static_cast<double>(std::max<std::size_t>(tested, 1)));
    std::vector<ColumnNoise> columns;
    columns.reserve(table.columns());
    for (std::size_t column = 0; column < table.columns(); ++column) columns.push_back(meter.measure(column));
    return columns;
}

std::vector<std::size_t> rankNoise(const RunTable& table, const std::vector<ColumnNoise>& columns) {
    std::vector<std::size_t> order;
    for (std::size_t i = 0; i < columns.size(); ++i)
        if (columns[i].m_noise) order.push_back(i);
    std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        if (columns[a].m_noise != columns[b].m_noise) return columns[a].m_noise > columns[b].m_noise;
        return table.name(columns[a].m_column) < table.name(columns[b].m_column);
    });
    return order;
}

}  // namespace host::compare
