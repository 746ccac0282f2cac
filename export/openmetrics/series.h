#pragma once

#include <cstdint>

#include "export/openmetrics/names.h"
#include "export/openmetrics/point_spool.h"
#include "pwr/metric.h"

namespace exporting::openmetrics {

// A sum of which no summand is lost to rounding: what each addition rounds off is added up beside it.
class ExactSum {
public:
    // Returns false, and adds nothing, if the sum would not be finite.
    bool add(double summand);

    double value() const { return m_sum + m_lost; }

private:
    double m_sum = 0;
    double m_lost = 0;
};

// What tells the series of one element from each other.
enum class Part : std::uint8_t { Whole, Low, High, State };

// A row of points in time with the same name and labels.
struct Series {
    // All owned by the host.
    const pwr::Metric* metric;
    const pwr::EntityHandle* entity;
    const pwr::DataDescriptor* item;  // may be null
    Part part = Part::Whole;
    std::uint32_t state = 0;  // of a state: its number in the metric

    double factor = 1;  // of the sum or value to the unit, and the divisor, see Unit
    double divisor = 1;
    ExactSum sum{};  // of a counter

    PointList points{};
    Point pending{};                     // the last point, which others of the same stamp may still replace
    bool hasPending = false;             // since the file began
    bool isPendingSample = false;        // and not only the start of a counter
    std::int64_t lastStamp = INT64_MIN;  // of all points, those of earlier files too
};

// What became of a sample.
enum class Outcome : std::uint8_t { Kept, Merged, LeftOut };

// Puts samples into series, so that the stamps of each rise.
class SeriesWriter {
public:
    // Takes a reading. One that comes late is left out, one with the stamp of the last replaces it.
    Outcome set(Series& series, std::int64_t stamp, double value);

    // Takes what a counter rose by from `begin` to `stamp`. The first time in a file the counter begins at
    // `begin` with the sum so far, unless that is not before `stamp`. What comes late is added to the last
    // point.
    Outcome add(Series& series, std::int64_t begin, std::int64_t stamp, double rise);

    // Ends the file: all points of the series are in its list.
    void finish(Series& series);

    // To be told how many series there are.
    void setCount(std::size_t count) { m_count = count; }

    // Forgets all points; the lists are to be emptied as well.
    void clear() {
        m_spool.clear();
        m_isGood = true;
    }

    // False if the temporary file has failed.
    bool isGood() const { return m_isGood; }

    PointSpool& spool() { return m_spool; }

private:
    Outcome put_i(Series& series, Point point);
    void keep_i(Series& series);

    PointSpool m_spool;
    std::size_t m_count = 1;
    bool m_isGood = true;
};

}  // namespace exporting::openmetrics
