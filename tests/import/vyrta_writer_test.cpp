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

constexpr char OVERFLOW_LINE[] = "Maximum attribute count '2048' exceeded.\n";

// Warnings from texts that a "|" parts.
std::string linesOf(const std::string& texts) {
    std::string lines;
    for (std::size_t at = 0; at <= texts.size();) {
        const std::size_t end = std::min(texts.find('|', at), texts.size());
        lines += "WARNING: VyrtaWriterPlugin:    " + texts.substr(at, end - at);
        at = end + 1;
    }
    return lines;
}

template <typename T>
host::model::Value valueOf(const T& content) {
    host::model::Value value;
    if constexpr (std::is_same_v<T, long>) value.setInt(content);
    if constexpr (std::is_same_v<T, unsigned long>) value.setUInt(content);
    if constexpr (std::is_same_v<T, double>) value.setReal(content);
    if constexpr (std::is_same_v<T, std::pair<long, long>>) value.setIntRange(content.first, content.second);
    if constexpr (std::is_same_v<T, std::pair<unsigned long, unsigned long>>)
        value.setUIntRange(content.first, content.second);
    if constexpr (std::is_same_v<T, std::pair<double, double>>)
        value.setRealRange(content.first, content.second);
    if constexpr (std::is_same_v<T, const pwr::DataHandle*>) value.setHandle(content);
    return value;
}

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

TEST_F(VyrtaRecords, ReachNoBlockThatIsVoid) {
    EXPECT_EQ(m_writer.writeRecord(5, "abc", 3), 0);
    m_writer.setInvalidTempFile(5);
    EXPECT_EQ(m_writer.writeRecord(5, "def", 3), 1);
    EXPECT_EQ(block(5), "abc");
    EXPECT_EQ(m_writer.writeRecord(6, "ghi", 3), 0);
    m_writer.m_impl->m_valid = false;
    EXPECT_EQ(m_writer.writeRecord(6, "jkl", 3), 1);
    EXPECT_EQ(m_writer.writeRecord(7, "mno", 3), 1);
    EXPECT_EQ(block(6), "ghi");
    EXPECT_EQ(m_writer.m_impl->findBackingStore(7), nullptr);
}

// Elements of four and of five attributes fill the list up to the place at which it is to overflow; what
// comes then is told, and voids the metric.
TEST_F(VyrtaRecords, OverflowOfASampleVoidsItsMetric) {
    feed(R"({"def":"entity","id":1,"name":"One"}
{"def":"entity","id":2,"name":"Two"}
{"def":"descriptor","id":3,"name":"C0"}
{"def":"attribute","id":4,"name":"label","type":5}
{"def":"pair","id":5,"info":"i"}
{"def":"entity","id":6,"name":"Labelled","attributes":[[4,{"h":5}]]})");
    sendSystem();
    const struct {
        int elements;  // of four attributes, after those of metric and entity
        int ranges;    // of five
        const char* last;
        const char* lost;  // null: nothing
    } cases[] = {
        {509, 2, R"({"e":2,"d":3,"v":{"u":1}})", "Unable to add 'Two' entity to the record. TSC: 200\n"},
        {509, 2, R"({"e":1,"d":3,"v":{"u":1}})", "Unable to add 'C0' field to the record. TSC: 200\n"},
        {510, 1, R"({"e":1,"d":3,"v":{"u":1}})", "Unable to add 'C0' duration to the record. TSC: 200\n"},
        {511, 0, R"({"e":1,"d":3,"v":{"u":1}})", "Unable to add 'C0' state color to the record. TSC: 200\n"},
        {507, 3, R"({"e":1,"d":3,"v":{"u":1}})",
         "Unable to add unsigned integer value '1' to the record.\n"
         "WARNING: VyrtaWriterPlugin:    Unable to add 'C0' data to the record. TSC: 200\n"},
        {510, 1, R"({"e":6,"d":3,"v":{"u":1}})",
         "Unable to add nameid value to the record.\n"
         "WARNING: VyrtaWriterPlugin:    Failed to process info attribute\n"
         "WARNING: VyrtaWriterPlugin:    Unable to add 'Labelled' entity attributes to the record. TSC: "
         "200\n"},
        {508, 2, R"({"e":1,"d":3,"v":{"u":1}})", nullptr},
    };
    int id = 10;
    for (const int level : {1, 2})
        for (const auto& [elements, ranges, last, lost] : cases) {
            m_runner.m_environment.m_logLevel = level;
            const std::string metric = std::to_string(++id);
            std::string data;
            for (int i = 0; i < elements; ++i) data += R"({"e":1,"d":3,"v":{"u":1}},)";
            for (int i = 0; i < ranges; ++i) data += R"({"e":1,"d":3,"v":{"u":[1,2]}},)";
            m_runner.m_infoLog.m_lines.clear();
            m_runner.m_statuses.clear();
            feed(R"({"def":"metric","id":)" + metric + R"(,"name":"Wide","type":"SAMPLED_DELTA"})");
            feed(R"({"msg":"metric","metric":)" + metric + R"(,"t":200,"data":[)" + data + last + "]}");
            EXPECT_EQ(m_writer.m_impl->findBackingStore(std::stoul(metric))->m_valid, lost == nullptr)
                << last;
            EXPECT_EQ(m_runner.m_statuses.size(), lost != nullptr ? 1U : 0U);
            EXPECT_EQ(m_runner.m_infoLog.text(),
                      lost == nullptr || level < 2
                          ? ""
                          : "WARNING: VyrtaWriterPlugin:    Maximum attribute count '2048' exceeded.\n"
                            "WARNING: VyrtaWriterPlugin:    " +
                                std::string(lost));
        }
}

// The same for each kind of attribute, with a list that is full or has one place.
TEST_F(VyrtaRecords, OverflowIsToldForEachKindOfAttribute) {
    feed(R"({"def":"attribute","id":1,"name":"process","type":3}
{"def":"attribute","id":2,"name":"thread","type":4}
{"def":"attribute","id":3,"name":"label","type":5}
{"def":"process","id":4,"pid":7,"path":"p"}
{"def":"thread","id":5,"pid":7,"tid":8}
{"def":"pair","id":6,"info":"i"})");
    sendSystem();
    m_writer.m_legacyFormat = true;  // which needs no note
    const auto handle = [](unsigned long id) {
        const pwr::DataHandle* found = nullptr;
        EXPECT_EQ(pwr::DataHandle::get(id, found), 0);
        return found;
    };
    const struct {
        host::model::Value value;
        std::uint32_t count;
        unsigned long attribute;  // 0: the value alone
        bool asString;
        const char* lost;
    } cases[] = {
        {valueOf(-5L), 2048, 0, false, "Unable to add integer value '-5' to the record.\n"},
        {valueOf(5UL), 2048, 0, false, "Unable to add unsigned integer value '5' to the record.\n"},
        {valueOf(0.5), 2048, 0, false, "Unable to add real value '0.500000' to the record.\n"},
        {valueOf(std::pair(-1L, 2L)), 2048, 0, false,
         "Unable to add lower bound integer value '-1' to the record.\n"},
        {valueOf(std::pair(-1L, 2L)), 2047, 0, false,
         "Unable to add upper bound integer value '2' to the record.\n"},
        {valueOf(std::pair(1UL, 2UL)), 2048, 0, false,
         "Unable to add lower bound unsigned integer value '1' to the record.\n"},
        {valueOf(std::pair(1UL, 2UL)), 2047, 0, false,
         "Unable to add upper bound unsigned integer value '2' to the record.\n"},
        {valueOf(std::pair(0.5, 1.5)), 2048, 0, false,
         "Unable to add lower bound real value '0.500000' to the record.\n"},
        {valueOf(std::pair(0.5, 1.5)), 2047, 0, false,
         "Unable to add upper bound real value '1.500000' to the record.\n"},
        {valueOf(-5L), 2048, 0, true,
         "Unable to add string value '-5' to the record.\n|Unable to process string value '-5'.\n"
         "|Unable to process value attribute as string'.\n"},
        {valueOf(std::pair(0.5, 1.5)), 2048, 0, true,
         "Unable to add string value '0.5-1.5' to the record.\n|Unable to process string value '0.5-1.5'.\n"
         "|Unable to process value range attribute as string'.\n"},
        {valueOf(handle(4)), 2048, 1, false, "Unable to add thread attribute to the record.\n"},
        {valueOf(handle(5)), 2048, 2, false, "Unable to add thread attribute to the record.\n"},
        {valueOf(handle(6)), 2048, 3, false, "Unable to add nameid value to the record.\n"},
    };
    for (const auto& [value, count, attribute, asString, lost] : cases) {
        ZT2AttributeList list{};
        for (const auto& [isFull, level] : {std::pair(false, 2), std::pair(true, 1), std::pair(true, 2)}) {
            m_runner.m_environment.m_logLevel = level;
            list.count = isFull ? count : count - 2;
            m_runner.m_infoLog.m_lines.clear();
            int status = 0;
            if (attribute == 0)
                status = m_writer.processData(&value, nullptr, &list, asString, nullptr);
            else
                status = m_writer.processInfoAttributesHelper(
                    dynamic_cast<const pwr::Attribute*>(handle(attribute)), &value, &list);
            EXPECT_EQ(status, isFull ? 1 : 0) << lost;
            EXPECT_EQ(m_runner.m_infoLog.text(),
                      isFull && level == 2 ? linesOf(std::string(OVERFLOW_LINE) + "|" + lost) : "");
        }
    }
}

// A quantity stands before its number; it and what it is the rate of are defined first.
TEST_F(VyrtaRecords, NumbersWithoutTheirQuantityAreLost) {
    feed(R"({"def":"quantity","id":1,"kind":4,"name":"Watts","units":"W"}
{"def":"quantity","id":2,"kind":5,"name":"Joules","units":"J","rate":[1,0.5]}
{"def":"attribute","id":3,"name":"a","type":1,"quantity":2})");
    sendSystem();
    const pwr::DataHandle* found = nullptr;
    ASSERT_EQ(pwr::DataHandle::get(3, found), 0);
    const auto* const attribute = dynamic_cast<const pwr::Attribute*>(found);
    const pwr::Data data(5UL);
    ZT2AttributeList list{};
    const auto lost = [&] {
        m_runner.m_infoLog.m_lines.clear();
        EXPECT_EQ(m_writer.processDataAttributesHelper(attribute, &data, &list, false, nullptr), 1);
        return m_runner.m_infoLog.text();
    };
    EXPECT_EQ(m_writer.processDataAttributesHelper(attribute, &data, &list, false, nullptr), 0);
    EXPECT_EQ(list.count, 2U);
    list.count = 2048;
    const std::string noRate = "WARNING: Rate Quantity not specified for Watts\n";
    const std::string lostDatum = "|Unable to add first attribute data to the record.\n";
    EXPECT_EQ(lost(), noRate + linesOf(OVERFLOW_LINE +
                                       std::string("|Unable to add quantity attribute to the record.\n") +
                                       lostDatum));
    m_writer.m_impl->findBackingStore(HEADER)->m_valid = false;
    m_writer.m_infoRecords.clear();
    EXPECT_EQ(
        lost(),
        noRate +
            linesOf("Failed to write quantity metadata name:'Watts' units:'W' type:'4' uid:'1' rate uid:'-1' "
                    "multiplier:'0.000000'.\n|Failed to handle rate quantity metadata for quantity "
                    "name:'Joules' units:'J' type:'5' uid:'2' rate uid:'1' multiplier:'0.500000'.\n"
                    "|Failed to handle quantity metadata uid:2'.\n" +
                    lostDatum));
}

// The block of the header takes no more records, so nothing can be defined: every step says what it lacks.
TEST_F(VyrtaRecords, NothingIsDefinedInAHeaderThatIsVoid) {
    feed(R"({"def":"attribute","id":1,"name":"process","type":3}
{"def":"attribute","id":2,"name":"thread","type":4}
{"def":"attribute","id":3,"name":"label","type":5}
{"def":"process","id":4,"pid":7,"path":"p"}
{"def":"thread","id":5,"pid":7,"tid":8}
{"def":"pair","id":6,"info":"i"}
{"def":"entity","id":10,"name":"Core"}
{"def":"entity","id":11,"name":"locker","attributes":[[1,{"h":4}]]}
{"def":"entity","id":12,"name":"locking thread","attributes":[[2,{"h":5}]]}
{"def":"entity","id":13,"name":"parent"}
{"def":"entity","id":14,"name":"child","parent":13}
{"def":"descriptor","id":20,"name":"C0"}
{"def":"descriptor","id":21,"name":"with process","attributes":[[1,{"h":4}]]}
{"def":"descriptor","id":22,"name":"with thread","attributes":[[2,{"h":5}]]}
{"def":"descriptor","id":23,"name":"with pair","attributes":[[3,{"h":6}]]}
{"def":"metric","id":30,"name":"Lock","type":"TRACED_VALUE_TRANSITION","class":14})");
    for (int id = 40; id < 60; ++id)
        feed(R"({"def":"metric","id":)" + std::to_string(id) + R"(,"name":"M","type":"SAMPLED_VALUE"})");
    sendSystem();
    auto lost = [this, metric = 39](const char* element, int id = 0) mutable {
        m_runner.m_infoLog.m_lines.clear();
        feed(R"({"msg":"metric","metric":)" + std::to_string(id != 0 ? id : ++metric) +
             R"(,"t":200,"data":[)" + element + "]}");
        return m_runner.m_infoLog.text();
    };
    // A good sample for everything that would come first otherwise.
    EXPECT_EQ(lost(R"({"e":10,"d":20,"v":{"u":1}})"), "");
    m_writer.m_impl->findBackingStore(HEADER)->m_valid = false;
    const auto tabGroup =
        "Failed to write tab group metadata 'M:41'.\n|Failed to process 'M' metric metadata.\n";
    EXPECT_EQ(lost(R"({"e":10,"d":20,"v":{"u":1}})"), linesOf(tabGroup));
    const char* const process = "Unable to write process record.\n|Failed to handle process information. \n";
    const char* const thread = "Unable to write process record.\n|Failed to handle thread information. \n";
    const char* const info =
        "|Failed to process info attribute\n|Unable to add '%' data static field info attributes "
        "to the record. TSC: 201\n";
    const auto elementOf = [](int descriptor) {
        return R"({"e":10,"d":)" + std::to_string(descriptor) + R"(,"v":{"u":1}})";
    };
    const struct {
        std::string element;
        std::string lost;
        const char* state;
    } cases[] = {
        {elementOf(21), std::string(process) + info, "with process"},
        {elementOf(22), std::string(thread) + info, "with thread"},
        {elementOf(23),
         "Failed to write info type metadata for 'nameid_attribute'.\n|Invalid info type. Failed to process "
         "info "
         "attribute.\n" +
             std::string(info),
         "with pair"},
        {R"({"e":10,"d":20,"v":{"s":"text"}})",
         "Failed to write info type metadata for 'nameid_attribute'.\n|Unable to process string value "
         "'text'.\n|"
         "Unable to add 'C0' data to the record. TSC: 201\n",
         ""},
        {R"({"e":14,"d":20,"v":{"u":1}})",
         "Failed to write entity 'parent' metadata.\n|Failed to write parent entity metadata for entity "
         "'child'.\n"
         "|Unable to write 'child' entity metadata topology. TSC: 201\n",
         ""},
    };
    for (const auto& [element, what, state] : cases) {
        // The states are known, so that their records are not what fails.
        if (*state != '\0') m_writer.m_states[state] = m_writer.m_stateColors[state] = 1;
        std::string expected = what;
        if (const auto at = expected.find('%'); at != std::string::npos) expected.replace(at, 1, state);
        for (const int level : {1, 2}) {
            m_runner.m_environment.m_logLevel = level;
            m_writer.m_impl->findBackingStore(40)->m_valid = true;
            m_runner.m_infoLog.m_lines.clear();
            for (auto& [key, tsc] : m_writer.m_previousTsc) tsc = 100;
            m_writer.m_infoRecords.clear();
            feed(R"({"msg":"metric","metric":40,"t":201,"data":[)" + element + "]}");
            EXPECT_EQ(m_runner.m_infoLog.text(), level == 1 ? "" : linesOf(expected)) << element;
        }
    }
    for (const auto& [element, what] :
         {std::pair(R"({"e":11,"dur":1})",
                    "Unable to write process record.\n|Failed to handle process information. TSC: 200\n"),
          std::pair(R"({"e":12,"dur":1})",
                    "Unable to write process record.\n|Failed to handle thread information. TSC: 200\n")})
        EXPECT_EQ(lost(element, 30), linesOf(what));
    EXPECT_EQ(m_writer.fini(), 1);
}

// What was entered before the header became void is ended in vain, and that is told.
TEST_F(VyrtaRecords, EndRecordsThatFailFailTheRun) {
    for (const bool isThread : {false, true}) {
        VyrtaWriter writer;
        host::model::Process process(4, "p");
        host::model::Thread thread(5, "t");
        m_runner.m_infoLog.m_lines.clear();
        writer.m_systemStoreId = HEADER;
        EXPECT_EQ(
            isThread ? writer.handleThreadInfo(&thread, true) : writer.handleProcessInfo(&process, true), 0);
        writer.m_impl->findBackingStore(HEADER)->m_valid = false;
        EXPECT_EQ(writer.fini(), 1);
        EXPECT_FALSE(writer.m_impl->m_valid);
        EXPECT_EQ(
            m_runner.m_infoLog.text(),
            linesOf(isThread ? "Unable to write process record.\n|Unable to re-handle thread.\n|Failed to "
                               "flush stored states.\n"
                             : "Unable to write process record.\n|Unable to re-handle process.\n|Failed to "
                               "flush stored states.\n"));
    }
}

// The same where the attributes of a descriptor are known from a sample before: every step says what it lost.
TEST_F(VyrtaRecords, OverflowOfWhatIsKnownIsToldByEveryStep) {
    feed(R"({"def":"attribute","id":1,"name":"a","type":1}
{"def":"attribute","id":2,"name":"b","type":1}
{"def":"attribute","id":3,"name":"c","type":1}
{"def":"attribute","id":4,"name":"d","type":1}
{"def":"descriptor","id":5,"name":"C0","attributes":[[1,{"s":"x"}],[2,{"s":"x"}],[3,{"s":"x"}],[4,{"s":"last"}]]}
{"def":"entity","id":6,"name":"E"}
{"def":"metric","id":9,"name":"Wide","type":"SAMPLED_DELTA"})");
    sendSystem();
    const std::string element = R"({"e":6,"d":5,"v":{"u":1}})";
    feed(R"({"msg":"metric","metric":9,"t":200,"data":[)" + element + "]}");
    // Of 2 + 8 * 255 attributes and another 8, the last two have no room: the text of "d", and the value.
    std::string elements = element;
    for (int i = 1; i <= 255; ++i) elements += "," + element;
    feed(R"({"msg":"metric","metric":9,"t":300,"data":[)" + elements + "]}");
    EXPECT_THAT(
        m_runner.m_infoLog.text(),
        HasSubstr("Maximum attribute count '2048' exceeded.\n"
                  "WARNING: VyrtaWriterPlugin:    Unable to add string value 'last' to the record.\n"
                  "WARNING: VyrtaWriterPlugin:    Unable to process string value 'last'.\n"
                  "WARNING: VyrtaWriterPlugin:    Unable to add first attribute data to the record.\n"
                  "WARNING: VyrtaWriterPlugin:    Failed to process info attribute\n"
                  "WARNING: VyrtaWriterPlugin:    Unable to add 'C0 x' field static data attributes to the "
                  "record. TSC: 300\n"));
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
