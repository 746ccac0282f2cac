// The parts of the writer of time series: names, sums, series and the spool of their points.
#include <gtest/gtest.h>

#include <filesystem>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "export/openmetrics/families.h"
#include "export/openmetrics/names.h"
#include "export/openmetrics/point_spool.h"
#include "export/openmetrics/series.h"
#include "host/model/environment.h"
#include "host/model/loggers.h"
#include "host/model/metric.h"

namespace exporting::openmetrics {
namespace {

TEST(OpenMetricsNames, AreSnakeCaseWithTheBaseUnitBehind) {
    struct Case {
        const char* name;
        const char* units;
        const char* family;
        double one;  // of the stream's units, in those of the family
    };
    const Case cases[] = {
        {"CPU Time States", "ticks", "cpu_time_states_seconds", 1},
        {"  IO-wait (95%)  ", "us", "io_wait_95_seconds", 1e-6},
        {"Wait", "msec", "wait_seconds", 1e-3},
        {"Uptime seconds", "s", "uptime_seconds", 1},
        {"Milliseconds", "ms", "milliseconds_seconds", 1e-3},
        {"Bytes", "kB", "bytes", 1000},
        {"Free", "KiB", "free_bytes", 1024},
        {"Power", "mW", "power_watts", 1e-3},
        {"Power", "W", "power_watts", 1},
        {"Voltage", "V", "voltage_v", 1},
        {"Energy", "uJ", "energy_joules", 1e-6},
        {"Energy", "mJ", "energy_joules", 1e-3},
        {"Clock", "MHz", "clock_hertz", 1e6},
        {"Busy", "%", "busy_ratio", 0.01},
        {"Temp", "degC", "temp_celsius", 1},
        {"Temp", "\u00B0C", "temp_celsius", 1},
        {"Switches", "switches/s", "switches_switches_s", 1},
        {"3D Load", "", "_3d_load", 1},
        {"\u6E29\u5EA6", "#", "metric", 1},
    };
    for (const Case& c : cases) {
        const Unit unit = baseUnit(c.units);
        EXPECT_EQ(familyName(c.name, unit.name), c.family);
        EXPECT_EQ(unit.factor / unit.divisor, c.one) << c.units;
    }
    for (const char* good : {"a", "_b", "Zone_1"}) EXPECT_TRUE(isLabelName(good)) << good;
    for (const char* bad : {"", "1a", "a-b", "__name__", "\u00E4"}) EXPECT_FALSE(isLabelName(bad)) << bad;
}

TEST(OpenMetricsFamilies, HaveNoNameInCommon) {
    host::model::Metric gauge;
    host::model::Metric counter;
    host::model::Metric total;
    gauge.m_name = counter.m_name = "Errors";
    total.m_name = "Errors Total";
    gauge.m_id = 5;
    counter.m_id = 6;
    total.m_id = 7;
    Families families;
    const auto nameOf = [&](const pwr::Metric& metric, FamilyType type, const char* unit) {
        const Family& family = families.at(families.find(metric, type, unit));
        return family.name + " " + family.sampleName + " " + family.unit;
    };
    EXPECT_EQ(nameOf(counter, FamilyType::Counter, ""), "errors errors_total ");
    EXPECT_EQ(nameOf(gauge, FamilyType::Gauge, ""), "errors_5 errors_5 ");
    EXPECT_EQ(nameOf(gauge, FamilyType::Counter, ""), "errors errors_total ");  // shared
    EXPECT_EQ(nameOf(total, FamilyType::Counter, ""), "errors errors_total ");
    EXPECT_EQ(nameOf(total, FamilyType::Gauge, ""),
              "errors_total_7 errors_total_7 ");  // a sample is called so
    EXPECT_EQ(nameOf(gauge, FamilyType::Gauge, "watts"), "errors_watts errors_watts watts");
    EXPECT_EQ(nameOf(counter, FamilyType::Counter, "errors"),
              "errors errors_total ");  // the name is the unit
    EXPECT_EQ(families.size(), 4u);
}

TEST(ExactSum, LosesNothing) {
    ExactSum sum;
    sum.add(9007199254740992.0);
    for (int i = 0; i < 1000; ++i) sum.add(1);
    EXPECT_EQ(sum.value(), 9007199254741992.0);
    ExactSum tenths;
    for (int i = 0; i < 1000; ++i) tenths.add(0.1);
    EXPECT_EQ(tenths.value(), 100.0);
    EXPECT_FALSE(tenths.add(std::numeric_limits<double>::infinity()));
    EXPECT_EQ(tenths.value(), 100.0);
}

class Spooled : public testing::Test {
protected:
    Spooled() : m_log(2), m_environment(m_log, m_log) {}

    std::vector<std::pair<std::int64_t, double>> pointsOf(SeriesWriter& writer, Series& series) {
        writer.finish(series);
        std::vector<std::pair<std::int64_t, double>> all;
        EXPECT_TRUE(writer.spool().read(series.points, [&](const std::vector<Point>& points) {
            for (const Point& point : points) all.emplace_back(point.stamp, point.value);
        }));
        return all;
    }

    host::model::DescriptorLogger m_log;
    host::model::Environment m_environment;
};

using Points = std::vector<std::pair<std::int64_t, double>>;

TEST_F(Spooled, SeriesRise) {
    SeriesWriter writer;
    Series gauge{};
    EXPECT_EQ(writer.set(gauge, 5, 1), Outcome::Kept);
    EXPECT_EQ(writer.set(gauge, 5, 2), Outcome::Merged);
    EXPECT_EQ(writer.set(gauge, 4, 3), Outcome::LeftOut);
    EXPECT_EQ(writer.set(gauge, 6, 4), Outcome::Kept);
    EXPECT_EQ(pointsOf(writer, gauge), (Points{{5, 2}, {6, 4}}));

    Series counter{};
    counter.divisor = 10;
    EXPECT_EQ(writer.add(counter, 1, 5, 10), Outcome::Kept);
    EXPECT_EQ(writer.add(counter, 3, 4, 10), Outcome::Merged);  // late, but not lost
    EXPECT_EQ(writer.add(counter, 5, 7, 30), Outcome::Kept);
    EXPECT_EQ(pointsOf(writer, counter), (Points{{1, 0}, {5, 2}, {7, 5}}));
    // In the next file it goes on where it was; what begins before that begins there.
    counter.points = {};
    writer.clear();
    EXPECT_EQ(writer.add(counter, 6, 9, 10), Outcome::Kept);
    EXPECT_EQ(pointsOf(writer, counter), (Points{{7, 5}, {9, 6}}));

    Series sudden{};  // no interval before the first point, so no 0 either
    EXPECT_EQ(writer.add(sudden, 5, 5, 1), Outcome::Kept);
    EXPECT_EQ(writer.add(sudden, 5, 5, 1), Outcome::Merged);
    EXPECT_EQ(pointsOf(writer, sudden), (Points{{5, 2}}));
}

TEST_F(Spooled, GivesBackWhatDoesNotFitIntoMemory) {
    constexpr std::size_t LISTS = 3000;
    constexpr std::int64_t POINTS = 300;
    PointSpool spool;
    std::vector<PointList> lists(LISTS);
    for (std::int64_t i = 0; i < POINTS; ++i)
        for (std::size_t list = 0; list < LISTS; ++list)
            ASSERT_TRUE(spool.append(lists[list], LISTS, {i, static_cast<double>(list)}));
    std::size_t inMemory = 0;
    for (std::size_t list = 0; list < LISTS; ++list) {
        inMemory += lists[list].last.capacity() * sizeof(Point);
        std::int64_t next = 0;
        ASSERT_TRUE(spool.read(lists[list], [&](const std::vector<Point>& points) {
            for (const Point& point : points) {
                ASSERT_EQ(point.stamp, next++);
                ASSERT_EQ(point.value, static_cast<double>(list));
            }
        }));
        ASSERT_EQ(next, POINTS);
    }
    EXPECT_LT(inMemory, std::size_t{8} << 20);
}

TEST_F(Spooled, TellsWhenThereIsNoPlaceForTheFile) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::create_directory("gone");
    std::filesystem::current_path("gone");
    std::filesystem::remove(before / "gone");
    m_environment.m_logLevel = 0;
    SeriesWriter writer;
    Series series{};
    for (std::int64_t i = 0; i < 5000; ++i) writer.set(series, i, 1);
    EXPECT_FALSE(writer.isGood());
    std::filesystem::current_path(before);
}

}  // namespace
}  // namespace exporting::openmetrics
