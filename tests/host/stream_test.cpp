// Streams: what writers get from every definition and message.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <deque>
#include <functional>
#include <limits>
#include <memory>

#include "host/model/registry.h"
#include "pwr/pwr.h"
#include "tests/host/probe_writer.h"
#include "tests/support/stream_runner.h"

namespace {

using testing::ElementsAre;

class Stream : public testing::Test {
protected:
    Stream() { m_runner.add(m_writer); }

    // Feeds lines after those that open the run, and returns the calls that they caused.
    std::vector<std::string> callsOf(std::string_view lines) {
        if (!m_isOpen) {
            m_runner.begin();
            EXPECT_TRUE(m_runner.feed(R"({"msg":"system"})"));
            m_isOpen = true;
        }
        m_writer.m_calls.clear();
        EXPECT_TRUE(m_runner.feed(lines)) << m_runner.m_error;
        return m_writer.m_calls;
    }

    const pwr::DataHandle* handle(unsigned long id) {
        const pwr::DataHandle* found = nullptr;
        EXPECT_EQ(0, pwr::DataHandle::get(id, found));
        return found;
    }

    test::StreamRunner m_runner;
    test::ProbeWriter m_writer;
    bool m_isOpen = false;
};

TEST_F(Stream, SystemWithAllKeysAndStop) {
    m_runner.begin("folder/name", true);
    ASSERT_TRUE(m_runner.feed(
        R"({"msg":"system","id":4294967295,"cpu":[6,158,10],"product":[3,2,2024],"driver":[0,1,65535],)"
        R"("platform":"P","host":"H","osName":"N","osType":"T","osVersion":"V",)"
        R"("topology":[[1,0,-1],[2,5,0],[3,0,1],[4,0,2],[4,1,2],[8,7,-1]],)"
        R"("busMHz":100,"tscMHz":0.1,"lfmMHz":-0,"hfmMHz":16777217,"cpuMHz":2400.5,)"
        R"("start":1000,"stop":18446744073709551615,"time":123456,"command":["collect","-t","5"],"platformId":7,)"
        R"("durationSec":3.5,"startTime":"2024-05-01 10:00:00","codeName":"C","nativeModel":"M","pchNames":"X"})"
        "\n"
        R"({"msg":"stop","tsc":5})"
        "\n"
        R"({"msg":"flush"})"
        "\n"
        R"({"msg":"stop","tsc":6,"durationSec":0.25})"))
        << m_runner.m_error;
    EXPECT_EQ(0.25, host::model::Registry::instance().m_metadata->getCollectionDurationSec());
    m_runner.finish();
    EXPECT_THAT(m_writer.m_calls,
                ElementsAre("init folder/name continuous",
                            "system 4294967295 cpu=6,158,10 product=3,2,2024 driver=0,1,65535 P|H|N|T|V "
                            "nodes=1,1,1,2 thread 0<Core0<Module5<Package0 thread 1<Core0<Module5<Package0 "
                            "MHz=0x1.9p+6,0x1.99999ap-4,-0x0p+0,0x1p+24,0x1.2c1p+11 start=1000 "
                            "stop=18446744073709551615 time=123456 command=collect,-t,5, platform=7 "
                            "duration=0x1.cp+1 2024-05-01 10:00:00|C|M|X",
                            "flush stop=5", "fini"));
}

TEST_F(Stream, SystemWithoutKeys) {
    m_runner.begin();
    ASSERT_TRUE(m_runner.feed(R"({"msg":"system","id":null,"cpu":null,"topology":[],"command":null})"));
    EXPECT_EQ(
        "system 0 cpu=0,0,0 product=0,0,0 driver=0,0,0 |||| nodes=0,0,0,0 "
        "MHz=0x0p+0,0x0p+0,0x0p+0,0x0p+0,0x0p+0 start=0 stop=0 time=0 command= platform=0 "
        "duration=0x0p+0 |||",
        m_writer.m_calls.back());
}

TEST_F(Stream, ValuesOfEveryKindAreExact) {
    // Numbers whose size shows only at their end.
    const std::string zeros(400, '0');
    const std::string large = "{\"r\":1" + zeros + "e-399}";
    const std::string pair = "{\"r\":[0e400,-1" + zeros + ".5E-0400]}";
    const struct {
        const char* text;
        const char* value;
    } cases[] = {
        {"null", "none"},
        {R"({"i":-9223372036854775808})", "i-9223372036854775808"},
        {R"({"i":9223372036854775807})", "i9223372036854775807"},
        {R"({"u":18446744073709551615})", "u18446744073709551615"},
        {R"({"i":[-9223372036854775808,-1]})", "i-9223372036854775808..-1"},
        {R"({"u":[0,18446744073709551615]})", "u0..18446744073709551615"},
        {R"({"r":1})", "r0x1p+0"},
        {R"({"r":-0.0})", "r-0x0p+0"},
        {R"({"r":-0})", "r-0x0p+0"},
        {R"({"r":0.1})", "r0x1.999999999999ap-4"},
        {R"({"r":9007199254740993})", "r0x1p+53"},
        {R"({"r":9007199254740993.00000000000000000000000000000000000001})", "r0x1.0000000000001p+53"},
        {R"({"r":1.7976931348623157e308})", "r0x1.fffffffffffffp+1023"},
        {R"({"r":17976931348623157E+292})", "r0x1.fffffffffffffp+1023"},
        {R"({"r":4.9e-324})", "r0x0.0000000000001p-1022"},
        {R"({"r":2.2250738585072011e-308})", "r0x0.fffffffffffffp-1022"},
        {R"({"r":-1e-400})", "r-0x0p+0"},
        {R"({"r":0.0e-99999999999999999999})", "r0x0p+0"},
        {R"({"r":12345e-99999999999999999999})", "r0x0p+0"},
        {R"({"r":0e400})", "r0x0p+0"},
        {R"({"r":-0E+99999999999999999999})", "r-0x0p+0"},
        {large.c_str(), "r0x1.4p+3"},
        {pair.c_str(), "r0x0p+0..-0x1p+0"},
        {R"({"u":-0})", "u0"},
        {R"({"r":"nan"})", "rnan"},
        {R"({"r":"inf"})", "rinf"},
        {R"({"r":["-inf","nan"]})", "r-inf..nan"},
        {R"({"r":[-0.5,0.5]})", "r-0x1p-1..0x1p-1"},
        {R"({"h":1})", "hCPU#1"},
        {R"({"h":null})", "h-"},
        {R"({"s":""})", "s"},
        {R"({"s":"a\u0000b\"\\\/\n\u00e9\ud83d\ude00"})", "sa\\00b\"\\/\\0a\\c3\\a9\\f0\\9f\\98\\80"},
    };
    callsOf(R"({"def":"entity","id":1,"name":"CPU"})"
            "\n"
            R"({"def":"metric","id":1,"name":"M","type":0})");
    for (const auto& test : cases) {
        SCOPED_TRACE(test.text);
        const auto calls = callsOf(R"({"msg":"metric","metric":1,"t":0,"data":[{"e":1,"v":)" +
                                   std::string(test.text) + "}]}");
        ASSERT_EQ(1U, calls.size());
        EXPECT_THAT(calls[0], testing::EndsWith(" dur=0 v=" + std::string(test.value) + ")"));
    }
}

TEST_F(Stream, DefinitionsReachTheWritersWithTheirDefaults) {
    callsOf(R"({"def":"quantity","id":1,"kind":255,"name":"Energy","units":"uJ"}
{"def":"quantity","id":1073741822,"kind":0,"name":"E2","title":"T","rate":[1,-2.5],"time":true}
{"def":"attribute","id":10,"name":"State","quantity":1,"type":1}
{"def":"attribute","id":11,"name":"Process","header":"PH","field":"PF","type":-3}
{"def":"pair","id":20,"info":"Info","desc":"D","value":-9223372036854775808}
{"def":"process","id":21,"pid":-1,"parent":5,"path":"/bin/x","start":7,"end":8}
{"def":"thread","id":22,"tid":33,"pid":44,"start":9}
{"def":"entity","id":30,"name":"Package","qualified":"Q/Package","attributes":[[10,{"s":"v"}],[null,{"u":1}]]}
{"def":"entity","id":1073741823,"name":"Core","parent":30,"type":0,"quantity":null,"header":"CH","field":"CF"}
{"def":"descriptor","id":40,"name":"C6","attributes":[[10,{"s":"C6"}],[1073741823,{"h":20}]]}
{"def":"handle","id":50,"name":"Value","type":9,"expected":[1073741823,10]}
{"def":"handle","id":51,"name":"Plain","expected":null}
{"msg":"end","id":22,"tsc":18446744073709551615})");
    const auto* const quantity = pwr::Quantity::time();
    EXPECT_EQ(1073741822U, quantity->getId());
    const pwr::Quantity* rate = nullptr;
    double factor = 0;
    EXPECT_EQ(0, quantity->getRateConversion(rate, factor));
    EXPECT_EQ("Energy", rate->toQuantityString());
    EXPECT_EQ(255, rate->toQuantity());
    EXPECT_EQ(-2.5, factor);
    std::string title;
    rate->toTitleString(title);
    EXPECT_EQ("Energy", title);

    const auto* const attribute = dynamic_cast<const pwr::Attribute*>(handle(10));
    EXPECT_EQ(rate, attribute->m_quantity);
    EXPECT_EQ(0, attribute->getHandleType());
    EXPECT_EQ("State", attribute->getHeader());
    EXPECT_EQ(-3, dynamic_cast<const pwr::Attribute*>(handle(11))->m_attributeType);
    EXPECT_EQ("PH", handle(11)->getHeader());
    EXPECT_EQ("PF", handle(11)->getFieldName());

    const auto* const pair = dynamic_cast<const pwr::NameValuePair*>(handle(20));
    EXPECT_EQ("Info", pair->getName());
    EXPECT_EQ("Info", pair->getInfoName());
    EXPECT_EQ("D", pair->getValueDesc());
    EXPECT_EQ(std::numeric_limits<std::int64_t>::min(), pair->getValue());
    const auto* const process = dynamic_cast<const pwr::Process*>(handle(21));
    EXPECT_EQ("/bin/x", process->getName());
    EXPECT_EQ(-1, process->getPid());
    EXPECT_EQ(5, process->getParentPid());
    EXPECT_EQ(7U, process->getStartTime());
    EXPECT_EQ(8U, process->getEndTime());
    const auto* const thread = dynamic_cast<const pwr::Thread*>(handle(22));
    EXPECT_EQ("33", thread->getName());
    EXPECT_EQ(44, thread->getPid());
    EXPECT_EQ(9U, thread->getStartTime());
    EXPECT_EQ(18446744073709551615U, thread->getEndTime());

    const auto* const package = dynamic_cast<const pwr::EntityHandle*>(handle(30));
    EXPECT_EQ("Q/Package", package->getQualifiedName());
    EXPECT_EQ(1, package->getHandleType());
    EXPECT_EQ(2U, package->getAttributeCount());
    EXPECT_EQ(nullptr, (package->begin() + 1)->first);
    const auto* const core = dynamic_cast<const pwr::EntityHandle*>(handle(1073741823));
    EXPECT_EQ(package, core->getParent());
    EXPECT_EQ("Core", core->getQualifiedName());
    EXPECT_EQ("CF", core->getFieldName());
    const auto* const coreAttribute = dynamic_cast<const pwr::Attribute*>(core);
    ASSERT_NE(nullptr, coreAttribute);
    EXPECT_EQ(nullptr, coreAttribute->m_quantity);
    EXPECT_EQ(1, coreAttribute->m_attributeType);

    const auto* const descriptor = dynamic_cast<const pwr::DataDescriptor*>(handle(40));
    EXPECT_EQ(9, descriptor->getHandleType());
    EXPECT_EQ(coreAttribute, (descriptor->begin() + 1)->first);
    const auto* const expecting = dynamic_cast<const pwr::ExpectedAttributeManager*>(handle(50));
    ASSERT_EQ(2U, expecting->getAttributeCount());
    EXPECT_EQ(coreAttribute, *expecting->begin());
    EXPECT_EQ(nullptr, dynamic_cast<const pwr::DataDescriptor*>(handle(50)));
    EXPECT_EQ(nullptr, dynamic_cast<const pwr::ExpectedAttributeManager*>(handle(51)));
}

TEST_F(Stream, MetricsAndTheirSamples) {
    EXPECT_THAT(
        callsOf(R"({"def":"quantity","id":1,"kind":1,"name":"Q"}
{"def":"attribute","id":10,"name":"A","type":1}
{"def":"entity","id":30,"name":"P","qualified":"Q/P","attributes":[[10,{"s":"v"}]]}
{"def":"descriptor","id":40,"name":"C6","attributes":[[10,{"s":"six"}],[null,{"h":30}]]}
{"def":"handle","id":50,"name":"V"}
{"def":"metric","id":4294967295,"name":"M","group":"G","type":"TRACED_VALUE_TRANSITION","class":255,"quantity":1,"legend":[{"u":1},null],"value":50,"state":40,"entity":30,"descriptors":[[30,40],[50,null]],"entities":[30,30],"attributes":true}
{"def":"metric","id":1,"name":"Bare","type":200}
{"msg":"metric","metric":4294967295,"t":18446744073709551615,"data":[{"v":{"h":40},"vd":40,"info":[[900,{"i":1}],[10,null]],"dur":18446744073709551615,"d":40,"e":30},{"e":30,"info":[]},{"e":30,"d":null,"dur":null,"v":null,"info":null,"vd":null}]}
{"msg":"metric","t":5,"metric":1}
{"data":[],"t":6,"metric":1,"msg":"metric"})"),
        ElementsAre(
            "metric 4294967295 'M' group='G' type=3 class=255 q=Q#1 legend=u1,none, handles=V#50,C6#40,P#30 "
            "descriptors=P#30:C6#40{A#10=ssix -=hP#30},V#50:-, "
            "entities=P#30'Q/P'{A#10=sv},P#30'Q/P'{A#10=sv}, attributes=1 @18446744073709551615 "
            "(P#30 d=C6#40 dur=18446744073709551615 v=hC6#40 info=[10 none][900 i1] vd=C6#40) "
            "(P#30 d=- dur=0 v=none info=) (P#30 d=- dur=0 v=none)",
            "metric 1 'Bare' group='' type=200 class=0 q=- legend= handles=-,-,- descriptors= entities= "
            "attributes=0 @5",
            "metric 1 'Bare' group='' type=200 class=0 q=- legend= handles=-,-,- descriptors= entities= "
            "attributes=0 @6"));
}

TEST_F(Stream, TablesRowsAndContainers) {
    EXPECT_THAT(
        callsOf(R"({"def":"quantity","id":1,"kind":1,"name":"Q"}
{"def":"handle","id":1,"name":"a"}
{"def":"handle","id":2,"name":"b"}
{"def":"entity","id":4,"name":"E4"}
{"def":"entity","id":3,"name":"E3"}
{"def":"table","container":0,"id":4294967295,"title":"Plain","shared":[1,null],"handles":[2,null,null]}
{"def":"table","container":5,"id":0,"class":-2147483648,"title":"","quantity":1,"headers":false,"shared":[1,2,null],"handles":[1,null],"entities":[4,3,4],"notes":{"1":["after",""],"0":[]}}
{"msg":"table","table":[0,4294967295]}
{"msg":"row","table":[0,4294967295],"shared":["s","t"],"cells":["x",false,"z"]}
{"msg":"row","table":[0,4294967295],"cells":[null]}
{"msg":"row","table":[5,0],"shared":["s",false,"n"],"cells":[["3a","3n"],["4a"]]}
{"msg":"row","table":[5,0],"cells":[null,[false,null]]}
{"msg":"table","table":[5,0]}
{"msg":"container","id":7}
{"msg":"container","id":8,"feature":"F","metric":"M","header":"H","timeline":2,"notes":{},"table":[5,0]}
{"msg":"container","id":9,"notes":{"0":["n"]},"table":[0,4294967295],"cells":["in"]}
{"msg":"container","id":9,"table":[0,4294967295],"shared":[]})"),
        ElementsAre(
            "table [0,4294967295] type 0 'Plain' q=- nonsummary=0 headers=1 fields=5 notes=null a#1=null -=! "
            "b#2=null -=! -=!",
            "table [0,4294967295] type 1 'Plain' q=- nonsummary=0 headers=1 fields=5 notes=null a#1='s' -=! "
            "b#2='x' -=! -=!",
            "table [0,4294967295] type 1 'Plain' q=- nonsummary=0 headers=1 fields=5 notes=null a#1=null -=! "
            "b#2=null -=! -=!",
            "table [5,0] type 1 '' q=Q#1 nonsummary=1 headers=0 fields=7 notes={1:after;1:;} a#1='s' b#2=! "
            "-=! E3#3/a#1='3a' E3#3/-='3n' E4#4/a#1='4a' E4#4/-=null",
            "table [5,0] type 1 '' q=Q#1 nonsummary=1 headers=0 fields=7 notes={1:after;1:;} a#1=null "
            "b#2=null -=! E3#3/a#1=null E3#3/-=null E4#4/a#1=! E4#4/-=null",
            "table [5,0] type 0 '' q=Q#1 nonsummary=1 headers=0 fields=7 notes={1:after;1:;} a#1=null "
            "b#2=null -=! E3#3/a#1=null E3#3/-=null E4#4/a#1=null E4#4/-=null",
            "container 7 '' '' '' timeline=0 notes=null",
            "container 8 'F' 'M' 'H' timeline=2 notes={} [5,0] type 0 '' q=Q#1 nonsummary=1 headers=0 "
            "fields=7 notes={1:after;1:;} a#1=null b#2=null -=! E3#3/a#1=null E3#3/-=null E4#4/a#1=null "
            "E4#4/-=null",
            "container 9 '' '' '' timeline=0 notes={0:n;} [0,4294967295] type 1 'Plain' q=- nonsummary=0 "
            "headers=1 fields=5 notes=null a#1=null -=! b#2='in' -=! -=!",
            "container 9 '' '' '' timeline=0 notes=null [0,4294967295] type 1 'Plain' q=- nonsummary=0 "
            "headers=1 fields=5 notes=null a#1=null -=! b#2=null -=! -=!"));
}

TEST_F(Stream, ANullHandleThatIsNotSharedGivesItsCell) {
    EXPECT_THAT(callsOf(R"({"def":"handle","id":1,"name":"a"}
{"def":"table","container":1,"id":1,"title":"T","class":3,"summary":true,"shared":[1],"handles":[null]}
{"msg":"row","table":[1,1],"shared":["s"],"cells":["given"]})"),
                ElementsAre("table [1,1] type 1 'T' q=- nonsummary=0 headers=1 fields=2 notes=null a#1='s' "
                            "-='given'"));
}

TEST_F(Stream, TextsIdsAndFlushes) {
    EXPECT_THAT(callsOf(R"({"msg":"text","text":"plain","id":3}
{"msg":"header","text":"head\u0000er"}
   # a comment
	 )"
                        "\r\n"
                        R"({ "text" : "" , "msg" : "text" })"
                        "\r\n"
                        R"({"msg":"id"}
{"msg":"flush"})"),
                ElementsAre("text 2 id=3 'plain'", "text 5 id=0 'head\\00er'", "text 2 id=0 ''", "id"));
}

TEST_F(Stream, TheLastOrderHolds) {
    callsOf(R"({"def":"order","features":["a"],"prefixes":["p"],"metrics":{"f":["m"],"g":[]}}
{"def":"order","prefixes":[],"metrics":{"f":["n","m"]}})");
    auto& parser = pwr::WriterInterfaceConfigFileParser::instance();
    std::deque<std::string> names;
    EXPECT_FALSE(parser.getFeatureOrder(names));
    EXPECT_TRUE(parser.getAllFeaturePrefixes(names));
    EXPECT_FALSE(parser.getMetricOrderForFeature(names, "g"));
    EXPECT_TRUE(parser.getMetricOrderForFeature(names, "f"));
    EXPECT_THAT(names, ElementsAre("n", "m"));
}

// A row of one table must not show through in the next, and neither must an element in a later one.
TEST_F(Stream, NothingIsLeftOverFromEarlierLines) {
    callsOf(R"({"def":"entity","id":1,"name":"E"}
{"def":"descriptor","id":2,"name":"D"}
{"def":"metric","id":1,"name":"M","type":0}
{"msg":"metric","metric":1,"t":1,"data":[{"e":1,"d":2,"vd":2,"dur":5,"v":{"s":"long enough to be on the heap"},"info":[[7,{"s":"x"}]]},{"e":1,"v":{"r":[1,2]}}]})");
    const auto calls =
        callsOf(R"({"msg":"metric","metric":1,"t":2,"data":[{"e":1},{"e":1,"info":[[8,null]]}]})");
    EXPECT_THAT(calls[0],
                testing::EndsWith("@2 (E#1 d=- dur=0 v=none) (E#1 d=- dur=0 v=none info=[8 none])"));
}

class KeepingWriter : public test::ProbeWriter {
public:
    std::int32_t writeMessage(const pwr::Metric& metric) override {
        m_kept = metric.getData().elements.at(0);
        return 0;
    }
    const pwr::DataElement* m_kept = nullptr;
};

#if defined(__SANITIZE_ADDRESS__)
TEST(StreamDeathTest, AKeptElementIsCaught) {
    test::StreamRunner runner;
    KeepingWriter writer;
    runner.add(writer);
    runner.begin();
    ASSERT_TRUE(runner.feed(R"({"msg":"system"}
{"def":"entity","id":1,"name":"E"}
{"def":"metric","id":1,"name":"M","type":0}
{"msg":"metric","metric":1,"t":1,"data":[{"e":1}]})"));
    EXPECT_DEATH(std::printf("%p", static_cast<const void*>(writer.m_kept->getEntity())),
                 "heap-use-after-free");
}
#endif

TEST(Delivery, EveryWriterGetsWhatItAsksFor) {
    test::StreamRunner runner;
    test::ProbeWriter summary("summary", {pwr::TABLE_CLASS_SUMMARY}, false);
    test::ProbeWriter other("other", {static_cast<pwr::TableClass>(3), static_cast<pwr::TableClass>(4)});
    test::ProbeWriter all("all");
    test::ProbeWriter broken("broken");
    broken.m_failing = {"init"};
    other.m_failing = {"flush", "id", "fini"};
    all.m_throwing = {"text"};
    for (test::ProbeWriter* writer : {&summary, &other, &all, &broken}) runner.add(*writer);
    runner.begin("run", true);
    ASSERT_TRUE(runner.feed(R"({"def":"table","container":1,"id":0,"title":"t"}
{"def":"table","container":1,"id":3,"class":3,"title":"t"}
{"def":"table","container":1,"id":5,"class":5,"title":"t"}
{"msg":"system"}
{"msg":"table","table":[1,0]}
{"msg":"row","table":[1,3]}
{"msg":"table","table":[1,5]}
{"msg":"flush"}
{"msg":"id"}
{"msg":"text","text":""})"));
    runner.finish();
    const auto operations = [](const test::ProbeWriter& writer) {
        std::string result;
        for (const std::string& call : writer.m_calls)
            result += (result.empty() ? "" : " ") + call.substr(0, call.find(' '));
        return result;
    };
    EXPECT_EQ("init system table id text fini", operations(summary));
    EXPECT_EQ("init system table flush id text fini", operations(other));
    EXPECT_EQ("init system table table table flush id text fini", operations(all));
    EXPECT_EQ("init", operations(broken));
    EXPECT_THAT(runner.m_statuses, ElementsAre("0,broken,init,1", "8,other,flush,1", "9,other,id,1",
                                               "10,all,text,1", "0,other,fini,1"));
}

TEST(Delivery, FlushesNeedAContinuousRun) {
    test::StreamRunner runner;
    test::ProbeWriter writer;
    runner.add(writer);
    runner.begin();
    ASSERT_TRUE(runner.feed("{\"msg\":\"system\"}\n{\"msg\":\"flush\"}"));
    EXPECT_EQ(2U, writer.m_calls.size());
}

// Keeps every pointer that a writer may keep.
class PointerWriter : public test::ProbeWriter {
public:
    using ProbeWriter::writeMessage;
    std::int32_t writeMessage(const pwr::SystemMessage& message) override {
        keep_i([&message] { return std::to_string(message.m_id) + message.m_metadata->m_hostName; });
        return 0;
    }
    std::int32_t writeMessage(const pwr::TableMessage& message) override {
        const auto* const title = &message.getTitle();
        const auto* const notes = message.getTextNotes();
        const auto* const handle = *message.handlesBegin();
        keep_i([=] { return *title + notes->at(0).front() + handle->getName(); });
        return 0;
    }
    std::int32_t writeMessage(const pwr::MetricContainerInfoMessage& message) override {
        const auto* const notes = message.m_notes;
        const auto* const table = message.m_infoTable;
        keep_i([=] { return notes->at(1).front() + table->getTitle(); });
        return 0;
    }
    std::int32_t writeMessage(const pwr::Metric& metric) override {
        const pwr::DataElement& element = *metric.getData().elements.front();
        const auto* const entity = element.getEntity();
        const auto* const descriptor = element.getDescriptor();
        keep_i([=, &metric] { return metric.m_name + entity->getName() + descriptor->getName(); });
        return 0;
    }

    // Reads through all of them.
    std::vector<std::string> kept() const {
        std::vector<std::string> texts;
        for (const auto& read : m_kept) texts.push_back(read());
        return texts;
    }

private:
    void keep_i(std::function<std::string()> read) { m_kept.push_back(std::move(read)); }
    std::vector<std::function<std::string()>> m_kept;
};

TEST(Lifetimes, TheSystemMessageAndWhatMessagesPointToOutliveTheReader) {
    host::model::Registry::reset();
    PointerWriter writer;
    host::session::Delivery delivery;
    delivery.add(writer);
    delivery.init("run", false);
    auto reader = std::make_unique<host::stream::StreamReader>(delivery);
    std::uint64_t number = 0;
    for (const char* line :
         {R"({"def":"entity","id":1,"name":"CPU"})", R"({"def":"descriptor","id":2,"name":"C6"})",
          R"({"def":"metric","id":10,"name":"Power","type":2})",
          R"({"def":"table","container":1,"id":1,"title":"T","handles":[1],"notes":{"0":["pre"]}})",
          R"({"msg":"system","id":3,"host":"box"})", R"({"msg":"table","table":[1,1]})",
          R"({"msg":"row","table":[1,1],"cells":["x"]})",
          R"({"msg":"container","id":1,"table":[1,1],"cells":["y"],"notes":{"1":["post"]}})",
          R"({"msg":"metric","metric":10,"t":5,"data":[{"e":1,"d":2}]})", R"({"msg":"text","text":"after"})"})
        ASSERT_TRUE(reader->line(line, ++number)) << reader->error();
    delivery.fini();
    reader.reset();
    EXPECT_THAT(writer.kept(), ElementsAre("3box", "TpreCPU", "TpreCPU", "postT", "PowerCPUC6"));
    host::model::Registry::reset();
}

}  // namespace
