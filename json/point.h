#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "json/value.h"

// One sample of a series over an interval. Times are in microseconds after the collection's start.
class Point {
public:
    Point() = default;
    Point(unsigned long start, unsigned long end, Value value)
        : m_start(start), m_end(end), m_value(std::move(value)) {}

    void remapValues(const std::vector<unsigned int>& map) { m_value.remapValues(map); }

    std::uint64_t getStartTimestamp() const { return m_start; }
    std::uint64_t getEndTimestamp() const { return m_end; }
    const Value& getValue() const { return m_value; }

    // The value in place, so that further pairs can be added to it.
    Value& getValue() { return m_value; }

    // Makes this the point of another interval, without pairs.
    void reset(std::uint64_t start, std::uint64_t end) {
        m_start = start;
        m_end = end;
        m_value.clear();
    }

private:
    std::uint64_t m_start = 0;
    std::uint64_t m_end = 0;
    Value m_value;
};
