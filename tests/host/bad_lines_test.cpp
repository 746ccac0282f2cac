// Lines that are wrong: what is said of each, and that nothing of it remains.
#include <gtest/gtest.h>

#include "tests/host/probe_writer.h"
#include "tests/support/stream_runner.h"

namespace {

struct BadLine {
    std::string line;
    const char* message;
};

const char* const DEFINED = R"({"def":"quantity","id":1,"kind":1,"name":"Q","time":true}
{"def":"attribute","id":1,"name":"A","type":1}
{"def":"entity","id":2,"name":"E"}
{"def":"descriptor","id":3,"name":"D"}
{"def":"handle","id":4,"name":"H"}
{"def":"metric","id":5,"name":"Low","type":0}
{"def":"metric","id":20,"name":"M","type":0}
{"def":"table","container":1,"id":1,"title":"T","shared":[4],"handles":[1,2]}
{"def":"table","container":1,"id":2,"title":"T","handles":[1],"entities":[2]})";

const BadLine BEFORE_SYSTEM[] = {
    {R"({"msg":"text","text":"x"})", "a message before the system message"},
    {R"({"msg":"flush"})", "a message before the system message"},
    {R"({"msg":"stop","tsc":1})", "a message before the system message"},
    {R"({"msg":"system","cpu":[1,2]})", "\"cpu\": expected a list of 3, found 2"},
    {R"({"msg":"system","cpu":[256,0,0]})", "\"cpu\": 256 is out of range, 0 to 255"},
    {R"({"msg":"system","driver":[0,0,65536]})", "\"driver\": 65536 is out of range, 0 to 65535"},
    {R"({"msg":"system","topology":[[1,0,-1],[4,0,1]]})", "\"topology\"[1]: 1 is out of range, -1 to 0"},
    {R"({"msg":"system","topology":[[9,0,-1]]})", "\"topology\"[0]: 9 is out of range, 0 to 8"},
    {R"({"msg":"system","tscMHz":1e39})", "\"tscMHz\": 1e39 is out of range"},
    {R"({"msg":"system","tscMHz":"nan"})", "\"tscMHz\": expected a number, found a text"},
    {R"({"msg":"system","start":-1})", "\"start\": -1 is out of range, 0 to 18446744073709551615"},
    {R"({"msg":"system","id":4294967296})", "\"id\": 4294967296 is out of range, 0 to 4294967295"},
    {R"({"msg":"system","command":["a",1]})", "\"command\"[1]: expected a text, found 1"},
    {R"({"msg":"system","osname":"x"})", "unknown key \"osname\""},
};

const BadLine JSON[] = {
    {"", nullptr},
    {"{", "bad JSON at byte 2: missing a name for object member"},
    {"nothing", "bad JSON at byte 2: invalid value"},
    {R"({"msg":"id"} {})", "bad JSON at byte 14: the document root must not be followed by other values"},
    {R"({"msg":"text","text":"x})", "bad JSON at byte 25: missing a closing quotation mark in string"},
    {R"({"msg":"text","text":"\x"})", "bad JSON at byte 23: invalid escape character in string"},
    {R"({"msg":"text","text":"\ud800"})", "bad JSON at byte 23: the surrogate pair in string is invalid"},
    {"{\"msg\":\"text\",\"text\":\"a\tb\"}", "bad JSON at byte 24: control character in a text"},
    {std::string("{\"msg\":\"id\"}\0", 13), "a zero byte; in a text it is written \\u0000"},
    {"{\"msg\":\"text\",\"text\":\"\xff\"}", "not valid UTF-8"},
    {"{\"msg\":\"text\",\"text\":\"\xc0\x80\"}", "not valid UTF-8"},
    {"{\"msg\":\"text\",\"text\":\"\xed\xa0\x80\"}", "not valid UTF-8"},
    {"{\"msg\":\"text\",\"text\":\"\xf4\x90\x80\x80\"}", "not valid UTF-8"},
    {"{\"msg\":\"text\",\"text\":\"truncated\"}\xe2\x82", "not valid UTF-8"},
    {std::string(100000, '['), "nested too deeply"},
    {"[]", "expected an object, found a list"},
    {"{}", "neither \"def\" nor \"msg\""},
    {R"({"msg":null})", "neither \"def\" nor \"msg\""},
    {R"({"msg":"id","def":"entity"})", "both \"def\" and \"msg\""},
    {R"({"msg":1})", "\"msg\": expected a text, found 1"},
    {R"({"msg":"ID"})", "unknown message \"ID\""},
    {R"({"def":"system"})", "unknown definition \"system\""},
    {R"({"msg":"id","msg":"id"})", "key \"msg\" occurs twice"},
    {R"({"msg":"id","id":1})", "unknown key \"id\""},
};

const BadLine DEFINITIONS[] = {
    {R"({"def":"entity","name":"x"})", "missing key \"id\""},
    {R"({"def":"entity","id":null,"name":"x"})", "missing key \"id\""},
    {R"({"def":"entity","id":9})", "missing key \"name\""},
    {R"({"def":"entity","id":0,"name":"x"})", "\"id\": 0 is out of range, 1 to 1073741823"},
    {R"({"def":"entity","id":1073741824,"name":"x"})", "\"id\": 1073741824 is out of range, 1 to 1073741823"},
    {R"({"def":"entity","id":99999999999999999999,"name":"x"})",
     "\"id\": 99999999999999999999 is out of range, 1 to 1073741823"},
    {R"({"def":"entity","id":9.0,"name":"x"})", "\"id\": expected an integer, found 9.0"},
    {R"({"def":"entity","id":"9","name":"x"})", "\"id\": expected an integer, found a text"},
    {R"({"def":"entity","id":1,"name":"x"})", "id 1 is defined already"},
    {R"({"def":"entity","id":9,"name":7})", "\"name\": expected a text, found 7"},
    {R"({"def":"entity","id":9,"name":"x","nmae":"y"})", "unknown key \"nmae\""},
    {R"({"def":"entity","id":9,"name":"x","name":"y"})", "key \"name\" occurs twice"},
    {R"({"def":"entity","id":9,"name":"x","parent":9})", "\"parent\": no handle with id 9"},
    {R"({"def":"entity","id":9,"name":"x","parent":4})", "\"parent\": the handle with id 4 is no entity"},
    {R"({"def":"entity","id":9,"name":"x","quantity":2})", "\"quantity\": no quantity with id 2"},
    {R"({"def":"entity","id":9,"name":"x","type":2147483648})",
     "\"type\": 2147483648 is out of range, -2147483648 to 2147483647"},
    {R"({"def":"entity","id":9,"name":"x","attributes":[[1]]})",
     "\"attributes\"[0]: expected a list of 2, found 1"},
    {R"({"def":"entity","id":9,"name":"x","attributes":[[1,null],[1,null]]})",
     "\"attributes\"[1]: attribute 1 occurs twice"},
    {R"({"def":"entity","id":9,"name":"x","attributes":[[2,null]]})",
     "\"attributes\"[0]: the handle with id 2 is no attribute"},
    {R"({"def":"entity","id":9,"name":"x","attributes":{}})",
     "\"attributes\": expected a list, found an object"},
    {R"({"def":"quantity","id":1073741823,"kind":0,"name":"x"})",
     "\"id\": 1073741823 is out of range, 1 to 1073741822"},
    {R"({"def":"quantity","id":1,"kind":0,"name":"x"})", "id 1 is defined already"},
    {R"({"def":"quantity","id":2,"kind":256,"name":"x"})", "\"kind\": 256 is out of range, 0 to 255"},
    {R"({"def":"quantity","id":2,"kind":1,"name":"x","rate":[2,1]})", "\"rate\": no quantity with id 2"},
    {R"({"def":"quantity","id":2,"kind":1,"name":"x","rate":[1,"nan"]})",
     "\"rate\": expected a number, found a text"},
    {R"({"def":"quantity","id":2,"kind":1,"name":"x","time":1})",
     "\"time\": expected true or false, found 1"},
    {R"({"def":"quantity","id":2,"kind":1,"name":"x","time":true})", "there is a quantity of time already"},
    {R"({"def":"handle","id":9,"name":"x","expected":[1,4]})",
     "\"expected\"[1]: the handle with id 4 is no attribute"},
    {R"({"def":"process","id":9,"path":"x"})", "missing key \"pid\""},
    {R"({"def":"thread","id":9,"tid":1,"pid":4294967296})",
     "\"pid\": 4294967296 is out of range, -2147483648 to 2147483647"},
    {R"({"def":"pair","id":9,"info":"x","value":9223372036854775808})",
     "\"value\": 9223372036854775808 is out of range, -9223372036854775808 to 9223372036854775807"},
    {R"({"def":"metric","id":0,"name":"x","type":0})", "\"id\": 0 is out of range, 1 to 4294967295"},
    {R"({"def":"metric","id":20,"name":"x","type":0})", "id 20 is defined already"},
    {R"({"def":"metric","id":21,"name":"x"})", "missing key \"type\""},
    {R"({"def":"metric","id":21,"name":"x","type":"SAMPLED"})", "\"type\": unknown metric type \"SAMPLED\""},
    {R"({"def":"metric","id":21,"name":"x","type":256})", "\"type\": 256 is out of range, 0 to 255"},
    {R"({"def":"metric","id":21,"name":"x","type":0,"legend":[{"x":1}]})",
     "\"legend\"[0]: unknown kind of value \"x\""},
    {R"({"def":"metric","id":21,"name":"x","type":0,"descriptors":[[null,3]]})",
     "\"descriptors\"[0]: expected an integer, found null"},
    {R"({"def":"metric","id":21,"name":"x","type":0,"descriptors":[[4,4]]})",
     "\"descriptors\"[0]: the handle with id 4 is no descriptor"},
    {R"({"def":"table","container":1,"id":1,"title":"x"})", "table [1,1] is defined already"},
    {R"({"def":"table","container":1,"id":9,"title":"x","shared":[4,null,null,4]})",
     "\"shared\"[3]: handle 4 occurs twice"},
    {R"({"def":"table","container":1,"id":9,"title":"x","shared":[4],"handles":[4]})",
     "handle 4 is in both lists of a table without entities"},
    {R"({"def":"table","container":1,"id":9,"title":"x","notes":{"2":[]}})", "\"notes\": unknown key \"2\""},
    {R"({"def":"table","container":1,"id":9,"title":"x","notes":{"0":[1]}})",
     "\"notes\": \"0\"[0]: expected a text, found 1"},
    {R"({"def":"order","metrics":{"f":["m",2]}})", "\"metrics\": \"f\": expected a text, found 2"},
    {R"({"def":"order","metrics":{"f":[],"f":[]}})", "\"metrics\": key \"f\" occurs twice"},
};

const BadLine MESSAGES[] = {
    {R"({"msg":"system"})", "a second system message"},
    {R"({"msg":"text"})", "missing key \"text\""},
    {R"({"msg":"stop"})", "missing key \"tsc\""},
    {R"({"msg":"end","id":4,"tsc":1})", "\"id\": the handle with id 4 is no process or thread"},
    {R"({"msg":"end","id":99,"tsc":1})", "\"id\": no handle with id 99"},
    {R"({"msg":"table","table":[1,9]})", "\"table\": no table [1,9]"},
    {R"({"msg":"table","table":1})", "\"table\": expected a list, found 1"},
    {R"({"msg":"row","table":[1,1],"shared":["a","b"]})", "\"shared\"[1]: more cells than the 1 columns"},
    {R"({"msg":"row","table":[1,1],"cells":["a",true]})",
     "\"cells\"[1]: expected a text, null or false, found true"},
    {R"({"msg":"row","table":[1,1],"cells":["a","b","c"]})", "\"cells\"[2]: more cells than the 2 columns"},
    {R"({"msg":"row","table":[1,2],"cells":["a"]})",
     "\"cells\"[0]: \"cells\": expected a list, found a text"},
    {R"({"msg":"row","table":[1,2],"cells":[[],[]]})", "\"cells\"[1]: more lists than the 1 entities"},
    {R"({"msg":"container","id":1,"cells":[]})", "cells without a table"},
    {R"({"msg":"container","id":1,"timeline":256})", "\"timeline\": 256 is out of range, 0 to 255"},
    {R"({"msg":"metric","metric":21,"t":1})", "\"metric\": no metric with id 21"},
    {R"({"msg":"metric","metric":5,"t":1})", "\"metric\": id 5 is not above the system message's id, 10"},
    {R"({"msg":"metric","metric":20})", "missing key \"t\""},
    {R"({"msg":"metric","metric":20,"t":1,"data":[{"e":2},7]})", "\"data\"[1]: expected an object, found 7"},
    {R"({"msg":"metric","metric":20,"t":1,"data":[{}]})", "\"data\"[0]: missing key \"e\""},
    {R"({"msg":"metric","metric":20,"t":1,"data":[{"e":2,"x":1}]})", "\"data\"[0]: unknown key \"x\""},
    {R"({"msg":"metric","metric":20,"t":1,"data":[{"e":2,"e":2}]})", "\"data\"[0]: key \"e\" occurs twice"},
    {R"({"msg":"metric","metric":20,"t":1,"data":[{"e":2,"d":4}]})",
     "\"data\"[0]: \"d\": the handle with id 4 is no descriptor"},
    {R"({"msg":"metric","metric":20,"t":1,"data":[{"e":2,"dur":1.5}]})",
     "\"data\"[0]: \"dur\": expected an integer, found 1.5"},
    {R"({"msg":"metric","metric":20,"t":1,"data":[{"e":2,"v":5}]})",
     "\"data\"[0]: \"v\": expected a value, such as {\"i\": 1}, found 5"},
    {R"({"msg":"metric","metric":20,"t":1,"data":[{"e":2,"v":{}}]})",
     "\"data\"[0]: \"v\": a value has exactly one key"},
    {R"({"msg":"metric","metric":20,"t":1,"data":[{"e":2,"v":{"i":1,"u":1}}]})",
     "\"data\"[0]: \"v\": a value has exactly one key"},
    {R"({"msg":"metric","metric":20,"t":1,"data":[{"e":2,"v":{"\u0000":"x"}}]})",
     "\"data\"[0]: \"v\": unknown kind of value \"\\x00\""},
    {R"({"msg":"metric","metric":20,"t":1,"data":[{"e":2,"v":{"int":1}}]})",
     "\"data\"[0]: \"v\": unknown kind of value \"int\""},
    {R"({"msg":"metric","metric":20,"t":1,"data":[{"e":2,"v":{"u":-1}}]})",
     "\"data\"[0]: \"v\": \"u\": -1 is out of range, 0 to 18446744073709551615"},
    {R"({"msg":"metric","metric":20,"t":1,"data":[{"e":2,"v":{"i":[1]}}]})",
     "\"data\"[0]: \"v\": \"i\": expected a list of 2, found 1"},
    {R"({"msg":"metric","metric":20,"t":1,"data":[{"e":2,"v":{"r":"NaN"}}]})",
     "\"data\"[0]: \"v\": \"r\": expected a number, \"nan\", \"inf\" or \"-inf\", found a text"},
    {R"({"msg":"metric","metric":20,"t":1,"data":[{"e":2,"v":{"r":1e309}}]})",
     "\"data\"[0]: \"v\": \"r\": 1e309 is out of range"},
    {R"({"msg":"metric","metric":20,"t":1,"data":[{"e":2,"v":{"r":01e400}}]})",
     "bad JSON at byte 60: missing a comma or '}' after an object member"},
    {R"({"msg":"metric","metric":20,"t":1,"data":[{"e":2,"v":{"r":1e400.5}}]})",
     "bad JSON at byte 59: number too big to be stored in double"},
    {R"({"msg":"text","text":"\ud83d\ude00 and \udce9"})", "half of a surrogate pair in a text"},
    {R"({"msg":"text","text":"x","\udce9":1})", "half of a surrogate pair in a text"},
    {R"({"msg":"text","text":"\uD83D"})", "bad JSON at byte 23: the surrogate pair in string is invalid"},
    {R"({"msg":"metric","metric":20,"t":1,"data":[{"e":2,"v":{"r":179769313486231590000e288}}]})",
     "\"data\"[0]: \"v\": \"r\": 179769313486231590000e288 is out of range"},
    {R"({"msg":"metric","metric":20,"t":1,"data":[{"e":2,"v":{"h":1073741824}}]})",
     "\"data\"[0]: \"v\": \"h\": 1073741824 is out of range, 1 to 1073741823"},
    {R"({"msg":"metric","metric":20,"t":1,"data":[{"e":2,"v":{"s":null}}]})",
     "\"data\"[0]: \"v\": \"s\": expected a text, found null"},
    {R"({"msg":"metric","metric":20,"t":1,"data":[{"e":2,"info":[[7,null],[7,null]]}]})",
     "\"data\"[0]: \"info\"[1]: attribute 7 occurs twice"},
    {R"({"msg":"metric","metric":20,"t":1,"data":[{"e":2,"info":[7]}]})",
     "\"data\"[0]: \"info\"[0]: expected a list, found 7"},
    {R"({"msg":"metric","metric":20,"t":1,"data":[{"e":2}],"extra":0})", "unknown key \"extra\""},
};

class BadLines : public testing::Test {
protected:
    BadLines() {
        m_runner.add(m_writer);
        m_runner.begin();
        EXPECT_TRUE(m_runner.feed(DEFINED)) << m_runner.m_error;
    }

    template <std::size_t Count>
    void check(const BadLine (&lines)[Count]) {
        const std::size_t calls = m_writer.m_calls.size();
        for (const BadLine& bad : lines) {
            SCOPED_TRACE(bad.line.substr(0, 200));
            EXPECT_EQ(bad.message == nullptr, m_runner.feed(bad.line));
            if (bad.message == nullptr) continue;
            EXPECT_EQ(bad.message, m_runner.m_error.substr(m_runner.m_error.find(' ') + 1));
        }
        EXPECT_EQ(calls, m_writer.m_calls.size()) << m_writer.m_calls.back();
    }

    test::StreamRunner m_runner;
    test::ProbeWriter m_writer;
};

TEST_F(BadLines, BeforeTheSystemMessage) {
    check(BEFORE_SYSTEM);
}

TEST_F(BadLines, AfterIt) {
    ASSERT_TRUE(m_runner.feed(R"({"msg":"system","id":10})"));
    check(JSON);
    check(DEFINITIONS);
    check(MESSAGES);
    // None of the bad definitions has left anything behind.
    EXPECT_TRUE(m_runner.feed(R"({"def":"entity","id":9,"name":"x"}
{"def":"quantity","id":2,"kind":1,"name":"x"}
{"def":"metric","id":21,"name":"x","type":0}
{"def":"table","container":1,"id":9,"title":"x"})"))
        << m_runner.m_error;
}

}  // namespace
