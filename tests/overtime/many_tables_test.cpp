// The trace CSV with so many tables that it fetches them ahead, in an order that does not always come true.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <numeric>
#include <random>
#include <sstream>

#include "host/model/metric.h"
#include "host/model/system_metadata.h"
#include "overtime/int_writer_v2.h"
#include "overtime/phmwriter_text_plugin.h"
#include "tests/support/stream_runner.h"

namespace {

constexpr int ENTITIES = 400;

using Rows = std::map<std::string, std::vector<std::string>>;  // by title of the table

std::string definitions() {
    std::string lines = "{\"msg\":\"system\",\"tscMHz\":1000}\n";
    for (int entity = 1; entity <= ENTITIES; ++entity) {
        const std::string id = std::to_string(entity);
        lines += R"({"def":"entity","id":)" + id + R"(,"name":"core)" + id + "\"}\n";
    }
    for (const char* metric : {"1", "2", "3"})
        lines += std::string(R"({"def":"metric","id":)") + metric + R"(,"name":"M)" + metric +
                 R"(","type":"SAMPLED_VALUE"})" + "\n";
    return lines;
}

// A sample of the entities in this order; notes the rows that it makes.
std::string sample(int metric, int time, const std::vector<int>& entities, Rows& rows) {
    std::string line = R"({"msg":"metric","metric":)" + std::to_string(metric) + R"(,"t":)" +
                       std::to_string(time) + R"(,"data":[)";
    for (const int entity : entities) {
        const std::string value = std::to_string(entity * 1000 + time);
        if (line.back() != '[') line += ',';
        line += R"({"e":)" + std::to_string(entity) + R"(,"v":{"u":)" + value + "}}";
        rows["M" + std::to_string(metric) + " - core" + std::to_string(entity)].push_back(value);
    }
    return line + "]}\n";
}

// What the last column of each table holds.
Rows rowsOf(const char* path) {
    Rows rows;
    std::ifstream file(path);
    std::string title;
    for (std::string line; std::getline(file, line);) {
        if (line.find(" - ") != std::string::npos) title = line;
        const std::size_t cell = line.find_last_of(' ');
        const bool isRow = line.find("Sample #") == std::string::npos && line.find(',') != std::string::npos;
        if (isRow) rows[title].push_back(line.substr(cell + 1));
    }
    return rows;
}

TEST(ManyTables, GetTheirRowsInWhateverOrderEntitiesCome) {
    std::minstd_rand random(5);
    Rows expected;
    std::string stream = definitions();
    std::vector<int> entities(ENTITIES);
    std::iota(entities.begin(), entities.end(), 1);
    for (int time = 1; time <= 24; ++time) {
        if (time % 4 == 0) std::shuffle(entities.begin(), entities.end(), random);
        const std::vector<int> some(entities.begin(), entities.begin() + 1 + random() % ENTITIES);
        // The second metric stays away at times and the third comes late, so that the message after a message
        // changes or is not known.
        stream += sample(1, time, time % 3 == 0 ? some : entities, expected);
        if (time % 5 != 0) stream += sample(2, time, entities, expected);
        if (time % 5 == 3 && time > 9) stream += sample(3, time, some, expected);
    }
    test::StreamRunner runner;
    runner.m_environment.m_logLevel = 2;
    IntWriterV2 writer;
    runner.add(writer);
    runner.begin();
    ASSERT_TRUE(runner.feed(stream)) << runner.m_error;
    runner.finish();
    EXPECT_EQ(runner.m_infoLog.text(), "");
    EXPECT_EQ(rowsOf("run_trace.csv"), expected);
    std::filesystem::remove("run_trace.csv");
}

// The numbers of columns begin anew after 65,536 of them. Of the cells that share one, the last pushed
// counts: an element's value, then its duration.
template <typename Writer>
std::string durationAfterColumn(int column) {
    std::string stream = R"({"msg":"system","tscMHz":1000}
{"def":"entity","id":1,"name":"E"}
{"def":"metric","id":1,"name":"M","type":"SAMPLED_VALUE"})";
    std::string data;
    for (int i = 3; i <= column; ++i) {
        const std::string id = std::to_string(1000 + i);
        stream += "\n{\"def\":\"descriptor\",\"id\":" + id + ",\"name\":\"d\"}";
        data += std::string(i > 3 ? "," : "") + R"({"e":1,"d":)" + id + R"(,"dur":2000000,"v":{"u":7}})";
    }
    test::StreamRunner runner;
    runner.m_environment.m_logLevel = 1;
    Writer writer;
    runner.add(writer);
    runner.begin();
    EXPECT_TRUE(
        runner.feed(stream + "\n{\"msg\":\"metric\",\"metric\":1,\"t\":1000,\"data\":[" + data + "]}"));
    runner.finish();
    const char* const path = std::is_same_v<Writer, IntWriterV2> ? "run_trace.csv" : "run_phm.csv";
    std::ifstream file(path);
    std::string row;
    for (std::string line; std::getline(file, line);)
        if (!line.empty()) row = line;
    for (const char* name : {"run_trace.csv", "run_phm.csv", "run_meta_phm.csv"})
        std::filesystem::remove(name);
    std::istringstream cells(row);
    std::string cell;
    for (int i = 0; i < 3; ++i) std::getline(cells, cell, ',');
    return cell.substr(cell.find_last_not_of(' ') == std::string::npos ? 0 : cell.find_first_not_of(' '));
}

TEST(ManyColumns, ShareACellInTheOrderOfPushing) {
    EXPECT_EQ(durationAfterColumn<IntWriterV2>(65536 + 2), "2.00");
    EXPECT_EQ(durationAfterColumn<PhmTextWriter>(65536 + 2), "2.00");
}

// Texts of times are kept from row to row, but not when the clock is another one.
TEST(Times, AreThoseOfTheLatestFrequency) {
    const test::StreamRunner runner;
    IntWriterV2 writer;
    ASSERT_EQ(writer.init("run", false), 0);
    host::model::SystemMetadata metadata;
    pwr::SystemMessage system;
    system.m_metadata = &metadata;
    const host::model::Entity entity(1, host::model::HandleTexts("E"), "E", 1, nullptr);
    host::model::Element element;
    element.m_entity = &entity;
    element.m_duration = 2000000;
    pwr::Metric::Sample sample{8000, {&element}};
    host::model::Metric metric;
    metric.m_metricType = pwr::Metric::SAMPLED_VALUE;
    metric.m_sample = &sample;
    for (const float frequency : {1000.0F, 500.0F}) {
        metadata.m_tscFrequency = frequency;
        ++metric.m_id;
        EXPECT_EQ(writer.writeMessage(system), 0);
        EXPECT_EQ(writer.writeMessage(metric), 0);
    }
    EXPECT_EQ(writer.fini(), 0);
    std::ostringstream text;
    text << std::ifstream("run_trace.csv").rdbuf();
    EXPECT_NE(text.str().find("1,                   8.00,          2.00"), std::string::npos) << text.str();
    EXPECT_NE(text.str().find("1,                  16.00,          4.00"), std::string::npos) << text.str();
    std::filesystem::remove("run_trace.csv");
}

// Where a table has other columns already, all that comes before the values goes to its first one.
TEST(TablesOfTwoTypes, KeepTheColumnsOfTheFirst) {
    const test::StreamRunner runner;
    PhmTextWriter writer;
    ASSERT_EQ(writer.init("run", false), 0);
    host::model::SystemMetadata metadata;
    metadata.m_tscFrequency = 1000.0F;
    pwr::SystemMessage system;
    system.m_metadata = &metadata;
    EXPECT_EQ(writer.writeMessage(system), 0);
    const host::model::Entity entity(1, host::model::HandleTexts("E"), "E", 1, nullptr);
    const host::model::Descriptor state(2, host::model::HandleTexts("S"));
    host::model::Element element;
    element.m_entity = &entity;
    element.m_duration = 2000000;
    pwr::Metric::Sample sample{8000, {&element}};
    host::model::Metric metric;
    metric.m_sample = &sample;
    metric.m_metricType = pwr::Metric::TRACED_VALUE_TRANSITION;
    element.m_value.setHandle(&state);
    EXPECT_EQ(writer.writeMessage(metric), 0);
    metric.m_metricType = pwr::Metric::SAMPLED_RESIDENCY;
    element.m_value.setUInt(1000000);
    EXPECT_EQ(writer.writeMessage(metric), 0);
    EXPECT_EQ(writer.fini(), 0);
    std::ostringstream text;
    text << std::ifstream("run_phm.csv").rdbuf();
    EXPECT_NE(text.str().find("\n    2.00,                  n/a, n/a, n/a,           n/a, 1000.00\n"),
              std::string::npos)
        << text.str();
}

TEST(Rates, AreRefusedWithoutAConversion) {
    test::StreamRunner runner;
    runner.m_environment.m_logLevel = 2;
    IntWriterV2 writer;
    const host::model::Entity entity(1, host::model::HandleTexts("E"), "E", 1, nullptr);
    host::model::Element element;
    element.m_entity = &entity;
    element.m_value.setUInt(1);
    pwr::Metric::Sample sample{1000, {&element}};
    host::model::Metric metric;
    metric.m_sample = &sample;
    const host::model::Quantity quantity(1);
    metric.m_quantity = &quantity;
    EXPECT_EQ(
        writer.writeSampledGeneric(metric, 1, IntWriterV2::CalculationInstantaneousRate, nullptr, "", "n/a"),
        1);
    EXPECT_EQ(runner.m_infoLog.text(),
              "WARNING: Rate conversion is not specified. Unable to calculate rate.\n");
}

}  // namespace
