#include "json/series.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::Pair;
using testing::Pointee;

std::vector<Value> valuesOf(const Series& series) {
    std::vector<Value> values;
    Point point;
    for (PointList::Reader reader(series.getData()); reader.next(point);) values.push_back(point.getValue());
    return values;
}

class SeriesTest : public testing::Test {
protected:
    Series m_series{"category", {}, "key", "name", pwr::Metric::SAMPLED_RESIDENCY, true};
};

TEST_F(SeriesTest, NumbersStatesInTheOrderOfTheirArrival) {
    EXPECT_TRUE(m_series.getStates().empty());
    m_series.addState("C6");
    m_series.addData(0, 1, "C1", 1.0);
    m_series.appendData("C0", 2.0);
    m_series.appendData("C6", 3.0);
    m_series.addData(1, 2, "C6", 4.0, 5.0);
    EXPECT_THAT(m_series.getStates(), ElementsAre(Pointee(std::string("C6")), Pointee(std::string("C1")),
                                                  Pointee(std::string("C0"))));
    ASSERT_EQ(m_series.getData().size(), 2U);
    EXPECT_THAT(valuesOf(m_series)[0].getValues(), ElementsAre(Pair(1, 1.0), Pair(2, 2.0), Pair(0, 3.0)));
    EXPECT_THAT(valuesOf(m_series)[1].getValues(), ElementsAre(Pair(0, 4.0), Pair(0, 5.0)));
}

TEST_F(SeriesTest, MovesToALongerListOfStates) {
    m_series.addData(0, 1, "C6", 1.0);
    m_series.appendData("C1", 2.0);
    const std::vector<std::string> sorted = {"C0", "C1", "C3", "C6"};
    m_series.updateStates(std::make_shared<const StateTable>(sorted));
    EXPECT_THAT(m_series.getStates(), ElementsAre(Pointee(std::string("C0")), Pointee(std::string("C1")),
                                                  Pointee(std::string("C3")), Pointee(std::string("C6"))));
    EXPECT_THAT(valuesOf(m_series)[0].getValues(), ElementsAre(Pair(3, 1.0), Pair(1, 2.0)));
}

TEST_F(SeriesTest, TellsKeyFromName) {
    EXPECT_EQ(m_series.getKey(), "key");
    EXPECT_EQ(m_series.getName(), "name");
    EXPECT_EQ(m_series.getCategory(), "category");
}

}  // namespace
