// Framing, header records, values, time and processes, block by block.
#include <cmath>
#include <limits>

#include "host/model/metric.h"
#include "host/model/system_metadata.h"
#include "host/model/value.h"
#include "plugins/writer_plugin_capability.h"
#include "pwr/utilities.h"
#include "tests/import/vyrta_fixture.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

class VyrtaRecords : public VyrtaTest {};

TEST_F(VyrtaRecords, AreMadeForTheTablesOverTime) {
    ASSERT_EQ(m_writer.m_capabilities.size(), 1U);
    const auto& capability = dynamic_cast<const pwr::WriterPluginCapability&>(*m_writer.m_capabilities[0]);
    std::set<int> classes(capability.m_tableClasses.begin(), capability.m_tableClasses.end());
    EXPECT_THAT(classes, testing::ElementsAre(3, 4, 5, 6, 7, 8, 9));
    EXPECT_EQ(m_writer.m_id, "f245366a-c403-478b-aae5-649269da17c7");
    EXPECT_EQ(capability.m_name, "vyrta");
    EXPECT_EQ(capability.m_extension, ".pwr");
    EXPECT_EQ(capability.m_flags, 0);
}

TEST_F(VyrtaRecords, FrameSamplesByteForByte) {
    ZT2AttributeList list;
    list.count = 0;
    EXPECT_EQ(m_writer.addAttributeToRecord(0, 0x1122334455667788, &list), 0);
    EXPECT_EQ(m_writer.addAttributeToRecord(9, static_cast<unsigned long>(-2L), &list), 0);
    EXPECT_EQ(appended(5, [&] { EXPECT_EQ(m_writer.writeZT2Record(0x0102030405060708, 5, &list), 0); }),
              hex("10004002 0807060504030201 2200 47000600 0200 0200"
                  "00000000 8877665544332211 09000000 feffffffffffffff"));
    EXPECT_TRUE(VyrtaWriterImpl::m_hasData);

    list.count = 0;
    EXPECT_EQ(appended(5, [&] { EXPECT_EQ(m_writer.writeZT2Record(1, 5, &list), 0); }),
              hex("10004002 0100000000000000 0a00 47000600 0200 0000"));
    EXPECT_EQ(m_writer.m_impl->findBackingStore(5)->m_name, "unknown_metric 5");
}

TEST_F(VyrtaRecords, HoldNoMoreThan2048Attributes) {
    ZT2AttributeList list{};
    list.count = 2047;
    EXPECT_EQ(m_writer.addAttributeToRecord(10, 1, &list), 0);
    EXPECT_EQ(m_writer.addAttributeToRecord(10, 1, &list), 1);
    EXPECT_EQ(m_writer.addAttributeToRecord(10, 1, nullptr), 1);
    EXPECT_EQ(appended(5, [&] { EXPECT_EQ(m_writer.writeZT2Record(1, 5, &list), 0); }).size(),
              22U + 12 * 2048);
    list.count = 2049;
    EXPECT_EQ(m_writer.writeZT2Record(1, 5, &list), 1);
    EXPECT_EQ(m_writer.writeZT2Record(1, 5, nullptr), 1);
    EXPECT_EQ(m_runner.m_infoLog.text(),
              "WARNING: VyrtaWriterPlugin:    Maximum attribute count '2048' exceeded.\n"
              "WARNING: VyrtaWriterPlugin:    Invalid attribute list.\n"
              "WARNING: VyrtaWriterPlugin:    Maximum attribute count '2048' exceeded.\n"
              "WARNING: VyrtaWriterPlugin:    Invalid attribute list.\n");
}

// A host may use an object again for another metric.
TEST_F(VyrtaRecords, AreThoseOfTheMetricAsItIsNow) {
    sendSystem();
    const host::model::Entity entity(1, host::model::HandleTexts("E"), "E", 1, nullptr);
    const host::model::Descriptor descriptor(2, host::model::HandleTexts("D"));
    host::model::Element element;
    element.m_entity = &entity;
    element.m_descriptor = &descriptor;
    element.m_value.setUInt(1);
    pwr::Metric::Sample sample{200, {&element}};
    host::model::Metric metric;
    metric.m_sample = &sample;
    const auto send = [&](unsigned int id, const char* name, pwr::Metric::MetricType type) {
        metric.m_id = id;
        metric.m_name = name;
        metric.m_metricType = type;
        ++sample.timestamp;
        return m_writer.writeMessage(metric);
    };
    EXPECT_EQ(send(9, "M", pwr::Metric::SAMPLED_DELTA), 0);
    EXPECT_EQ(send(10, "M", pwr::Metric::SAMPLED_DELTA), 0);
    EXPECT_EQ(send(10, "M", pwr::Metric::SAMPLED_VALUE), 0);
    // Each block begins with the metric's description; a metric has one, whatever it becomes.
    EXPECT_EQ(block(10).substr(0, 13), block(9).substr(0, 13));
    EXPECT_EQ(block(10).size() - block(9).size(), block(9).size() - block(9).find("MM") - 3);
    for (const char* refused :
         {"CPU PkgC Dbg", "A C-State Debug", "TypeC Subsystem", "S0ix Substate Requirements"}) {
        const unsigned int id = ++metric.m_id;
        EXPECT_EQ(send(id, "M", pwr::Metric::SAMPLED_DELTA), 0);
        EXPECT_EQ(send(id, refused, pwr::Metric::SAMPLED_DELTA), 1);
        EXPECT_FALSE(m_writer.m_impl->findBackingStore(id)->m_valid);
    }
    EXPECT_EQ(m_runner.m_infoLog.text(), "");
}

// The names of the types of attributes are known from the first writer on.
TEST_F(VyrtaRecords, NameTheirAttributes) {
    m_runner.m_environment.m_logLevel = 3;
    ZT2AttributeList list;
    list.count = 0;
    std::string expected;
    const char* const names[] = {
        "METRIC          ", "ENTITY          ", "FIELD           ", "PROCESS         ", "THREAD          ",
        "CALL_STACK_FRAME", "QUANTITY        ", "COLOR           ", "INFO            ", "INT             ",
        "UINT            ", "REAL            ", "INT_LOWER_BOUND ", "INT_UPPER_BOUND ", "UINT_LOWER_BOUND",
        "UINT_UPPER_BOUND", "REAL_LOWER_BOUND", "REAL_UPPER_BOUND", "DURATION        ", ""};
    for (std::uint32_t type = 0; type < std::size(names); ++type) {
        EXPECT_EQ(m_writer.addAttributeToRecord(type, 7, &list), 0);
        expected += std::string("DEBUG: VyrtaWriterPlugin:    Adding 'type: ") + names[type] +
                    " value: 7' to record at [" + std::to_string(type) + "].\n";
    }
    EXPECT_EQ(m_runner.m_infoLog.text(), expected);
}

TEST_F(VyrtaRecords, NameTheKindsOfWakelocks) {
    m_runner.m_environment.m_logLevel = 3;
    const char* const types[] = {"wakeLock",        "wakeUnlock",    "wakeLockTimeout",
                                 "wakeLockInitial", "wakeUnlockAll", ""};
    const char* const flags[] = {
        "wakePartial", "wakeFull", "wakeScreenDim", "wakeScreenBright", "wakeProximityScreenOff", ""};
    for (unsigned short i = 0; i < 6; ++i) {
        const auto other = static_cast<unsigned short>(5 - i);
        m_runner.m_infoLog.m_lines.clear();
        EXPECT_EQ(m_writer.writeUserWakelockSampleNonGeneric(7, "w", 1, 2, 3, 0, i, other, 5), 0);
        EXPECT_EQ(m_writer.writeKernelWakelockSampleNonGeneric(7, "w", 2, 3, 9, i, 5), 0);
        const std::string begin = "DEBUG: VyrtaWriterPlugin:    Processing ";
        EXPECT_EQ(m_runner.m_infoLog.text(), begin + "user wakelock. name:'w', type:'" + types[i] +
                                                 "', flag:'" + flags[other] +
                                                 "'. uid:':1', pid:'2', tid:'3'. TSC: 7\n" + begin +
                                                 "kernel wakelock. name:'w', type:'" + types[i] +
                                                 "', expires: '9', pid:'2', tid:'3'. TSC: 7\n");
    }
}

class VyrtaHeader : public VyrtaTest {};

TEST_F(VyrtaHeader, CodesOperatingSystems) {
    const struct {
        const char* osType;
        const char* osName;
        unsigned code;
    } cases[] = {
        {"ia64", "Window", 1},    {"ia64", "Linux", 4},  {"x86_64", "MS Windows", 2},
        {"x86_64", "windows", 5}, {"i386", "Window", 0}, {"i686", "Linux", 3},
        {"i86", "Linux", 6},      {"i6860", "Linux", 6}, {"j686", "Window", 6},
        {"aarch64", "Linux", 6},  {"", "", 6},
    };
    for (const auto& [osType, osName, code] : cases) {
        VyrtaWriter writer;
        host::model::SystemMetadata metadata;
        metadata.m_osType = osType;
        metadata.m_osName = osName;
        metadata.m_tscFrequency = metadata.m_cpuFrequency = 1;
        pwr::SystemMessage message;
        message.m_id = 0;
        message.m_metadata = &metadata;
        EXPECT_EQ(writer.writeMessage(message), 0);
        EXPECT_EQ(writer.m_info->osCode, code) << osType << ' ' << osName;
    }
}

TEST_F(VyrtaHeader, ReadsTheMachine) {
    feed(R"({"msg":"system","id":3,"osVersion":"0x10.010..7.8.9","product":[1,2,515],"cpu":[6,143,8],)"
         R"("tscMHz":2400,"cpuMHz":2893.2,"time":199,"start":7,"stop":8,"host":"a\u0000b",)"
         R"("topology":[[1,258,-1],[2,9,0],[3,4,1],[4,0,2],[3,260,0],[4,5,4],[4,1,2],[4,77,-1]]})");
    const VyrtaCollectionInfo& info = *m_writer.m_info;
    EXPECT_EQ(info.osVersion, (std::array<std::uint16_t, 4>{16, 8, 7, 8}));
    EXPECT_EQ(info.versionMajor, 515);
    EXPECT_EQ(info.versionMinor, 2);
    EXPECT_EQ(info.versionUpdate, 1);
    EXPECT_EQ(info.tscFrequency, 2400000000U);
    EXPECT_EQ(info.cpuFrequency, static_cast<std::uint32_t>(2893.2F * 1000000.0F));
    EXPECT_EQ(info.cpuFrequencyMhz, 2893U);
    EXPECT_EQ(info.startTime, 1U);
    ASSERT_EQ(info.threadCount, 4U);
    // The package's id is cut to a byte, and a module between core and package is passed over.
    EXPECT_EQ(info.threads[0], (VyrtaThreadEntry{0, 2, 4, 0}));
    EXPECT_EQ(info.threads[1][2], 4);
    EXPECT_EQ(info.threads[2][2], 4);
    EXPECT_EQ(info.threads[2][3], info.threads[0][3] + 2) << "three threads on what looks like one core";
    EXPECT_EQ(info.threads[3], (VyrtaThreadEntry{0, 0, 0, 0}));
    // "a" alone reaches the file.
    EXPECT_EQ(block(3).substr(8 + 34 + 22, 4), hex("0200 6100"));
}

TEST_F(VyrtaHeader, RefusesNamesThatNoLengthFieldHolds) {
    host::model::SystemMetadata metadata;
    metadata.m_tscFrequency = metadata.m_cpuFrequency = 1.0F;
    pwr::SystemMessage message;
    message.m_metadata = &metadata;
    metadata.m_hostName.assign(65535 - 30, 'h');
    EXPECT_EQ(m_writer.writeMessage(message), 0);
    EXPECT_EQ(m_runner.m_infoLog.text(), "");
    metadata.m_hostName += 'h';
    EXPECT_EQ(m_writer.writeMessage(message), 1);
    EXPECT_EQ(m_runner.m_infoLog.text(),
              "WARNING: VyrtaWriterPlugin:    System info record size mismatch.\n"
              "WARNING: VyrtaWriterPlugin:    Failed to write system info record.\n");
    EXPECT_EQ(m_writer.fini(), 1);
}

class VyrtaValues : public VyrtaTest {};

TEST_F(VyrtaValues, AreTextsAsTheHostPrintsThem) {
    host::model::Quantity quantity(1);
    std::string text;
    const auto expectText = [&](auto value, const pwr::Data& data) {
        EXPECT_EQ(m_writer.processData(&data, nullptr, nullptr, true, &text), 0);
        EXPECT_EQ(text, pwr::to_string(value));
    };
    for (const double value :
         {0.0, -0.0, 1.0, 0.1, 1234567.0, 123456.5, 1e-5, 1e300, -2.5e-310, 100000.0,
          std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(), std::nan("")})
        expectText(value, pwr::Data(value));
    for (const unsigned long value : {0UL, 42UL, ~0UL}) expectText(value, pwr::Data(value));
}

TEST_F(VyrtaValues, AreRefusedAsNumbersWithoutAListToPutThemIn) {
    for (const pwr::Data& data : {pwr::Data(1UL), pwr::Data(1.0)}) {
        std::string text;
        EXPECT_EQ(m_writer.processData(&data, nullptr, nullptr, false, &text), 1);
        EXPECT_EQ(text, "");
    }
}

TEST_F(VyrtaValues, AreRefusedWithoutWhatTheyNeed) {
    const host::model::Attribute attribute(1, host::model::HandleTexts("a"), nullptr, pwr::ATTRIBUTE_DATA);
    const host::model::Descriptor descriptor(2, host::model::HandleTexts("d"));
    const pwr::AttributeValueManager* const none = nullptr;
    const pwr::DynamicAttributeValueManager* const noInfo = nullptr;
    const pwr::Data data(1UL);
    ZT2AttributeList list;
    list.count = 0;
    std::string text = "as it was";
    std::string lines;
    VyrtaWriter& writer = m_writer;
    for (const int level : {1, 2}) {
        m_runner.m_environment.m_logLevel = level;
        const struct {
            int status;
            const char* line;
        } cases[] = {
            {writer.processInfoAttributes(none, &list), "Can't process attributes.\n"},
            {writer.processInfoAttributes(&descriptor, nullptr), "Can't process attributes.\n"},
            {writer.processInfoAttributes(noInfo, nullptr), "Can't process attributes.\n"},
            {writer.processInfoAttributesHelper(nullptr, &data, &list), "Can't process attribute.\n"},
            {writer.processInfoAttributesHelper(&attribute, nullptr, &list), "Can't process attribute.\n"},
            {writer.processInfoAttributesHelper(&attribute, &data, nullptr), "Can't process attribute.\n"},
            {writer.processDataAttributes(none, &list, true), "Can't process attributes.\n"},
            {writer.processDataAttributes(&descriptor, nullptr, true), "Can't process attributes.\n"},
            {writer.processDataAttributes(noInfo, nullptr, true), "Can't process attributes.\n"},
            {writer.processDataAttributesHelper(nullptr, &data, &list, true, &text),
             "Can't process attribute.\n"},
            {writer.processDataAttributesHelper(&attribute, nullptr, &list, true, &text),
             "Can't process attribute.\n"},
            {writer.getFirstDataAttributeAsString(&descriptor, nullptr), "Failed to get string attribute\n"},
            {writer.processStringData("x", nullptr), "Invalid attribute list.\n"},
            {writer.processData(&data, nullptr, nullptr, true, nullptr), "Invalid attribute list.\n"},
            {writer.addAttributeToRecord(0, 0, nullptr), "Invalid attribute list.\n"},
        };
        for (const auto& test : cases) {
            EXPECT_EQ(test.status, 1);
            if (level == 2) lines += std::string("WARNING: VyrtaWriterPlugin:    ") + test.line;
        }
    }
    // What may be missing.
    EXPECT_EQ(writer.processInfoAttributes(noInfo, &list), 0);
    EXPECT_EQ(writer.processDataAttributes(noInfo, &list, true), 0);
    EXPECT_EQ(writer.getFirstDataAttributeAsString(nullptr, &text), 0);
    EXPECT_EQ(writer.getFirstDataAttributeAsString(&descriptor, &text), 0);
    EXPECT_EQ(writer.processData(nullptr, nullptr, nullptr, true, nullptr), 0);
    EXPECT_EQ(text, "as it was");
    EXPECT_EQ(list.count, 0U);
    EXPECT_EQ(m_runner.m_infoLog.text(), lines);
}

TEST_F(VyrtaValues, TravelAsTheirKindSays) {
    feed(R"({"def":"attribute","id":1,"name":"data","type":1}
{"def":"entity","id":2,"name":"Core","attributes":[[1,{"u":1}]]}
{"def":"descriptor","id":3,"name":"C0"}
{"def":"metric","id":9,"name":"All","type":"SAMPLED_VALUE"})");
    sendSystem();
    const struct {
        const char* value;
        const char* attributes;
    } cases[] = {
        {R"({"i":-1})", "09000000 ffffffffffffffff"},
        {R"({"u":18446744073709551615})", "0a000000 ffffffffffffffff"},
        {R"({"r":2.75})", "0b000000 0000000000000640"},
        {R"({"r":"nan"})", "0b000000 000000000000f87f"},
        {R"({"i":[-2,3]})", "0c000000 feffffffffffffff 0d000000 0300000000000000"},
        {R"({"u":[2,3]})", "0e000000 0200000000000000 0f000000 0300000000000000"},
        {R"({"r":[1,-2]})", "10000000 000000000000f03f 11000000 00000000000000c0"},
    };
    std::uint64_t tsc = 200;
    for (const auto& [value, attributes] : cases) {
        const std::string sample = appended(9, [&, v = std::string(value)] {
            feed(R"({"msg":"metric","metric":9,"t":)" + std::to_string(++tsc) +
                 R"(,"data":[{"e":2,"d":3,"v":)" + v + "}]}");
        });
        // METRIC, ENTITY, FIELD, DURATION and COLOR stand in front.
        const std::string expected = hex(attributes);
        EXPECT_TRUE(sample.ends_with(expected)) << value;
        EXPECT_EQ(sample[sample.size() - expected.size() - 12], 7) << value;
    }
}

class VyrtaTime : public VyrtaTest {};

TEST_F(VyrtaTime, RunsForwardForEachKey) {
    sendSystem();
    const struct {
        const char* key;
        unsigned long tsc;
        int status;
    } cases[] = {
        {"a", 99, 1},   // before the start
        {"a", 100, 0},  // at the start, and again: nothing has come after it
        {"a", 100, 0}, {"a", 101, 0}, {"a", 101, 1}, {"a", 100, 1}, {"b", 100, 0},
        {"b", 500, 0}, {"a", 499, 0}, {"a", 0, 1},   {"c", 300, 0},
    };
    for (const auto& [key, tsc, status] : cases)
        EXPECT_EQ(m_writer.checkTscMonotonicity(tsc, key), status) << key << ' ' << tsc;
    EXPECT_EQ(m_writer.getPreviousTsc("a"), 499U);
    EXPECT_EQ(m_writer.getPreviousTsc("new"), 100U);
    EXPECT_THAT(
        m_runner.m_errorLog.text(),
        StartsWith("FATAL: VyrtaWriterPlugin:    Current sample TSC is <= collection start TSC. Samples are "
                   "required to be monotonically increasing in time. 'a' current TSC: 99 <= collection start "
                   "TSC: 100\n"
                   "FATAL: VyrtaWriterPlugin:    Current sample TSC is <= previous sample's TSC. Samples are "
                   "required to be monotonically increasing in time. 'a' current TSC: 101 <= previous TSC: "
                   "101\n"));
}

TEST_F(VyrtaTime, OfAnEntityIsKeptPerMetricNameAndId) {
    feed(R"({"def":"entity","id":1,"name":"Core"}
{"def":"descriptor","id":2,"name":"C0"}
{"def":"metric","id":8,"name":"One","type":"SAMPLED_DELTA"}
{"def":"metric","id":9,"name":"Other","type":"SAMPLED_DELTA"})");
    sendSystem();
    feed(R"({"msg":"metric","metric":9,"t":200,"data":[{"e":1,"d":2,"v":{"u":1}}]}
{"msg":"metric","metric":8,"t":150,"data":[{"e":1,"d":2,"v":{"u":1}}]}
{"msg":"metric","metric":9,"t":201,"data":[{"e":1,"d":2,"v":{"u":1}}]})");
    EXPECT_THAT(m_runner.m_statuses, testing::IsEmpty());
    EXPECT_EQ(m_writer.getPreviousTsc("One_8_Core_1"), 150U);
    EXPECT_EQ(m_writer.getPreviousTsc("Other_9_Core_1"), 201U);
}

}  // namespace
