// A host whose values have no display text: they leave the writers' text alone.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "json/json_plugin.h"
#include "overtime/phmwriter_text_plugin.h"
#include "overtime/raw_writer_v2.h"
#include "tests/support/stream_runner.h"

namespace {

bool s_isSilent = false;

}  // namespace

// The linker puts these in the place of pwr::Data::toFormattedString and of what calls it.
extern "C" {
void __real__ZNK3pwr4Data17toFormattedStringERNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE(
    const pwr::Data* value, std::string& out);
void __wrap__ZNK3pwr4Data17toFormattedStringERNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE(
    const pwr::Data* value, std::string& out);
void __wrap__ZNK3pwr4Data17toFormattedStringERNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE(
    const pwr::Data* value, std::string& out) {
    if (!s_isSilent)
        __real__ZNK3pwr4Data17toFormattedStringERNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE(value,
                                                                                                      out);
}
}

namespace {

using testing::HasSubstr;
using testing::Not;

std::string contentOf(const char* path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

TEST(SilentHost, LeavesNoTextOfAnotherValueBehind) {
    test::StreamRunner runner;
    RawWriterV2 raw;
    IntWriterV2 trace;
    PhmTextWriter phm;
    JSONWriter json;
    runner.add(raw);
    runner.add(trace);
    runner.add(phm);
    runner.add(json);
    runner.begin();
    ASSERT_TRUE(runner.feed(R"({"def":"entity","id":1,"name":"E"}
{"def":"metric","id":10,"name":"Sampled","type":"SAMPLED_VALUE"}
{"def":"metric","id":11,"name":"Traced","type":"TRACED_EVENT"}
{"msg":"system","tscMHz":1000}
{"msg":"metric","metric":10,"t":1000,"data":[{"e":1,"dur":1,"v":{"u":7654321}}]}
{"msg":"metric","metric":11,"t":1000,"data":[{"e":1,"dur":1,"v":{"u":1234567}}]})"));
    s_isSilent = true;
    ASSERT_TRUE(runner.feed(R"({"msg":"metric","metric":10,"t":2000,"data":[{"e":1,"dur":1,"v":{"u":1}}]}
{"msg":"metric","metric":11,"t":2000,"data":[{"e":1,"dur":1,"v":{"u":1}}]}
{"msg":"metric","metric":11,"t":3000,"data":[{"e":1,"dur":1,"v":{"u":1}}]})"));
    s_isSilent = false;
    runner.finish();
    const struct {
        const char* path;
        const char* text;  // of the first value
    } cases[] = {{"run.txt", "7654321"},       {"run.txt", "1234567"},     {"run_trace.csv", "7654321"},
                 {"run_trace.csv", "1234567"}, {"run_phm.csv", "7654321"}, {"run.ztjson", "1234567"}};
    for (const auto& test : cases) {
        const std::string content = contentOf(test.path);
        const std::size_t first = content.find(test.text);
        EXPECT_NE(first, std::string::npos) << test.path;
        EXPECT_EQ(content.find(test.text, first + 1), std::string::npos) << test.path << "\n" << content;
    }
    EXPECT_THAT(contentOf("run.ztjson"), HasSubstr(R"(["","1234567"])"));
}

}  // namespace
