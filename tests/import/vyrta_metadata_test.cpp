#include "host/model/registry.h"
#include "tests/import/vyrta_fixture.h"

namespace {

using testing::HasSubstr;

class VyrtaMetadata : public VyrtaTest {};

TEST_F(VyrtaMetadata, SharesGroupsByName) {
    sendSystem();
    const struct {
        const char* name;
        std::uint64_t VyrtaWriter::*tabGroup;  // null: one of its own
        bool sharesTimeline;
    } cases[] = {
        {"Core C-State Residency", &VyrtaWriter::m_cstateTabGroupId, true},
        {"Package C-State Power", &VyrtaWriter::m_cstateTabGroupId, false},
        {"Module C-State", &VyrtaWriter::m_cstateTabGroupId, false},
        {"VM Residency", &VyrtaWriter::m_cstateTabGroupId, false},
        {"CPU Wakeups", &VyrtaWriter::m_cstateTabGroupId, true},
        {"Aborts", &VyrtaWriter::m_cstateTabGroupId, true},
        {"All Aborts", nullptr, false},
        {"Temperature and Power", &VyrtaWriter::m_temperatureTabGroupId, false},
        {"thermals", &VyrtaWriter::m_temperatureTabGroupId, false},
        {"Thermals", &VyrtaWriter::m_temperatureTabGroupId, false},
        {"Board temperature", &VyrtaWriter::m_temperatureTabGroupId, false},
        {"Power", &VyrtaWriter::m_powerTabGroupId, false},
        {"powerful", &VyrtaWriter::m_powerTabGroupId, false},
        {"C-State", nullptr, false},
    };
    unsigned long metric = 100;
    for (const auto& [name, tabGroup, sharesTimeline] : cases) {
        unsigned long group = 0;
        ++metric;
        ASSERT_EQ(m_writer.writeTabGroupMetadata(name, name, metric, group), 0);
        ASSERT_EQ(m_writer.writeTimelineGroupMetadata(name, name, metric, group), 0);
        EXPECT_EQ(m_writer.m_tabGroups.at(metric), group) << name;
        if (tabGroup != nullptr) {
            EXPECT_EQ(group, m_writer.*tabGroup) << name;
        }
        EXPECT_EQ(m_writer.m_timelineGroups.at(metric) == m_writer.m_cstateTimelineGroupId, sharesTimeline)
            << name;
    }
    // Two info types, three shared tab groups and two others, one shared timeline and eleven others.
    EXPECT_EQ(m_writer.m_infoRecords.size(), 7U + 2 + 5 + 12);
}

TEST_F(VyrtaMetadata, WritesEachContentOnce) {
    const auto write = [this](long value) {
        return appended(HEADER, [&] {
            EXPECT_EQ(
                m_writer.writeInfoMetadataHelper("kind", 3, "long", "short", "text", value, 0x123456789, -1),
                0);
        });
    };
    m_writer.m_systemStoreId = HEADER;
    EXPECT_EQ(write(-2),
              hex("10004002 0000000000000000 3200 48000700 0200 03000000 feffffff ffffffff 89674523"
                  "0400 0500 0400 0400") +
                  std::string("longshortkindtext", 18));
    EXPECT_EQ(write(-2), "");
    EXPECT_THAT(write(-1), testing::SizeIs(62));
}

// Nothing that needs an info type is written without it.
TEST_F(VyrtaMetadata, NeedsItsInfoTypes) {
    m_writer.m_systemStoreId = HEADER;
    ASSERT_EQ(m_writer.writeRecord(HEADER, "x", 1), 0);
    m_writer.m_impl->findBackingStore(HEADER)->m_valid = false;
    unsigned long id = 5;
    const auto told = [this](int status, int expected) {
        EXPECT_EQ(status, expected);
        const std::string lines = m_runner.m_infoLog.text();
        m_runner.m_infoLog.m_lines.clear();
        m_writer.m_infoRecords.clear();
        return lines;
    };
    const auto lineOf = [](const char* type) {
        return "WARNING: VyrtaWriterPlugin:    Failed to write info type metadata for '" + std::string(type) +
               "'.\n";
    };
    EXPECT_EQ(told(m_writer.writeMetricTypeMetadata(), 1), lineOf("metric_type"));
    EXPECT_EQ(told(m_writer.writeTabGroupMetadata("M", "M", 1, id), 1), lineOf("tab_group"));
    EXPECT_EQ(told(m_writer.writeTimelineGroupMetadata("M", "M", 1, 2), 1), lineOf("timeline_group"));
    EXPECT_EQ(told(m_writer.writeQuantityMetadata("Q", "Q", "W", 4, 1, -1, 0.5), 1), lineOf("quantity"));
    EXPECT_EQ(told(m_writer.writeEntityMetadata("E", "E", 1, -1), 1), lineOf("entity"));
    EXPECT_EQ(told(m_writer.writeStateColorMetadata("C0"), 1), lineOf("color"));
    EXPECT_EQ(told(m_writer.writeStateMetadata("C0", "C0", id), 1), lineOf("field"));
    EXPECT_EQ(id, 5U);
    m_runner.m_environment.m_logLevel = 1;
    EXPECT_EQ(told(m_writer.writeMetricTypeMetadata(), 1), "");
    EXPECT_EQ(told(m_writer.writeStateColorMetadata("C0"), 1), "");
}

TEST_F(VyrtaMetadata, HasRoomFor399Bytes) {
    m_writer.m_systemStoreId = HEADER;
    const auto write = [this](std::size_t size) {
        return m_writer.writeInfoMetadataHelper("k", 1, std::string(size - 3, 'n'), "s", "d", 0, 1, -1);
    };
    EXPECT_EQ(write(399), 0);
    EXPECT_EQ(block(HEADER).size(), 45U + 399);
    EXPECT_EQ(write(400), 1);
    EXPECT_EQ(write(400), 0) << "a record that failed is taken for written";
    EXPECT_EQ(m_runner.m_infoLog.text(), "WARNING: VyrtaWriterPlugin:    Info names string too long\n");

    m_writer.m_tabGroups[5] = m_writer.m_timelineGroups[5] = 1;
    EXPECT_EQ(m_writer.writeMetricMetadata(std::string(199, 'm'), std::string(200, 'm'), 5, 8, -1, 5, 5), 0);
    EXPECT_EQ(m_writer.writeMetricMetadata(std::string(200, 'm'), std::string(200, 'm'), 5, 8, -1, 5, 5), 1);
}

TEST_F(VyrtaMetadata, NeedsItsReferencesFirst) {
    m_writer.m_systemStoreId = HEADER;
    EXPECT_EQ(m_writer.writeMetricMetadata("m", "m", 5, 8, 77, 5, 5), 1);
    m_writer.m_quantities[77] = 77;
    EXPECT_EQ(m_writer.writeMetricMetadata("m", "m", 5, 8, 77, 5, 5), 1);
    m_writer.m_tabGroups[5] = 0x40000001;
    EXPECT_EQ(m_writer.writeMetricMetadata("m", "m", 5, 8, 77, 5, 5), 1);
    m_writer.m_timelineGroups[5] = 0x40000002;
    EXPECT_EQ(appended(5, [this] { EXPECT_EQ(m_writer.writeMetricMetadata("m", "nn", 5, 8, 77, 5, 5), 0); }),
              hex("10004002 0000000000000000 2400 48000800 0200 08000000 05000000 4d000000 01000040 02000040"
                  "0100 0200 6d6e6e00"));
    EXPECT_EQ(m_runner.m_infoLog.text(),
              "WARNING: VyrtaWriterPlugin:    Quantity metadata needs to be processed first.\n"
              "WARNING: VyrtaWriterPlugin:    Tab group metadata needs to be processed first.\n"
              "WARNING: VyrtaWriterPlugin:    Timeline group metadata needs to be processed first.\n");
}

TEST_F(VyrtaMetadata, RefusesAnEntityWithAnotherParent) {
    m_writer.m_systemStoreId = HEADER;
    EXPECT_EQ(m_writer.writeEntityMetadata("core", "core", 7, 1), 0);
    m_runner.m_environment.m_logLevel = 3;
    EXPECT_EQ(m_writer.writeEntityMetadata("core", "core", 7, 1), 0);
    m_runner.m_environment.m_logLevel = 2;
    EXPECT_EQ(m_writer.writeEntityMetadata("core", "core", 7, 2), 1);
    EXPECT_EQ(m_writer.writeEntityMetadata("core", "core", 8, -1), 0);
    EXPECT_EQ(m_runner.m_infoLog.text(),
              "DEBUG: VyrtaWriterPlugin:    Entity 'core' metadata already processed. Skipping...\n"
              "WARNING: VyrtaWriterPlugin:    The saved parent entity id '1' for entity 'core' doesn't match "
              "the new "
              "parent entity id '2'.\n");
}

TEST_F(VyrtaMetadata, KeepsTheIdOfAStateWhoseRecordFailed) {
    m_writer.m_systemStoreId = HEADER;
    const std::string tooLong(200, 's');
    unsigned long id = 5;
    EXPECT_EQ(m_writer.writeStateMetadata(tooLong, tooLong, id), 0);
    EXPECT_EQ(id, 5U);
    EXPECT_EQ(m_writer.m_states.count(tooLong), 0U);
    EXPECT_EQ(m_writer.writeStateMetadata("C1", "C1", id), 0);
    id = 6;
    EXPECT_EQ(m_writer.writeStateMetadata("C1", "C1", id), 0);
    EXPECT_EQ(id, 5U) << "states of one name share the first one's id";
}

TEST_F(VyrtaMetadata, MapsQuantitiesAndDrawsIds) {
    const struct {
        int kind;
        unsigned int type;
    } cases[] = {{0, 0}, {1, 1}, {9, 9}, {13, 13}, {14, 0}, {255, 0}};
    for (const auto& [kind, type] : cases)
        EXPECT_EQ(VyrtaWriter::getVyrtaQuantityType(static_cast<pwr::QuantityType>(kind)), type);
    const unsigned long id = m_writer.getUniqueId("a");
    EXPECT_NE(m_writer.getUniqueId("b"), id);
    EXPECT_EQ(m_writer.getUniqueId("a"), id);
}

TEST_F(VyrtaMetadata, RefusesStateValuesInOtherTypes) {
    feed(R"({"def":"metric","id":5,"name":"Delta","type":"SAMPLED_DELTA"})");
    sendSystem();
    unsigned short metricClass = 6;
    const pwr::Metric* const metric = host::model::Registry::instance().findMetric(5);
    EXPECT_EQ(m_writer.handleMetricMetadata(metric, &metricClass), 1);
    EXPECT_EQ(m_runner.m_infoLog.text(),
              "WARNING: VyrtaWriterPlugin:    Wrong metric type used for metric 'Delta'.\n");
}

// The groups and quantities that a metric drew when it failed are not looked up at its next message.
TEST_F(VyrtaMetadata, DrawsNewGroupsAfterAFailure) {
    feed(R"({"def":"entity","id":1,"name":"Core"}
{"def":"descriptor","id":2,"name":"C0"}
{"def":"metric","id":9,"name":"Plain","type":"SAMPLED_DELTA"})");
    sendSystem();
    m_writer.setInvalidTempFile(9);
    const auto message = [this](int tsc) {
        feed(R"({"msg":"metric","metric":9,"t":)" + std::to_string(tsc) +
             R"(,"data":[{"e":1,"d":2,"v":{"u":1}}]})");
        return m_writer.m_tabGroups.at(9);
    };
    const std::uint64_t first = message(200);
    EXPECT_NE(message(201), first);
    EXPECT_THAT(m_runner.m_statuses, testing::SizeIs(2));
    EXPECT_THAT(m_runner.m_infoLog.text(),
                HasSubstr("Failed to write metric metadata for metric 'Plain'.\n"));
}

}  // namespace
