// What voids a metric or the file, and what is told of what is lost by it.
#include <algorithm>
#include <type_traits>
#include <utility>

#include "host/model/value.h"
#include "pwr/utilities.h"
#include "tests/import/vyrta_fixture.h"

namespace {

using testing::HasSubstr;

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

class VyrtaVoid : public VyrtaTest {};

TEST_F(VyrtaVoid, ReachNoBlockThatIsVoid) {
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
TEST_F(VyrtaVoid, OverflowOfASampleVoidsItsMetric) {
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

const char HANDLES[] = R"({"def":"attribute","id":1,"name":"process","type":3}
{"def":"attribute","id":2,"name":"thread","type":4}
{"def":"attribute","id":3,"name":"label","type":5}
{"def":"process","id":4,"pid":7,"path":"p"}
{"def":"thread","id":5,"pid":7,"tid":8}
{"def":"pair","id":6,"info":"i"})";

// The same for each kind of attribute, with a list that is full or has one place.
TEST_F(VyrtaVoid, OverflowIsToldForEachKindOfAttribute) {
    feed(HANDLES);
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
TEST_F(VyrtaVoid, NumbersWithoutTheirQuantityAreLost) {
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
TEST_F(VyrtaVoid, NothingIsDefinedInAHeaderThatIsVoid) {
    feed(HANDLES);
    feed(R"({"def":"entity","id":10,"name":"Core"}
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
TEST_F(VyrtaVoid, EndRecordsThatFailFailTheRun) {
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
TEST_F(VyrtaVoid, OverflowOfWhatIsKnownIsToldByEveryStep) {
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

}  // namespace
