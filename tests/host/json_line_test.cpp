// Lines that are read without the general parser say what it would say.
#include "host/stream/json_line.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "host/stream/plain_json.h"

namespace {

using host::stream::Token;

struct Reading {
    bool isGood = false;
    std::vector<std::string> tokens;  // type, text or number of tokens
};

std::string textOf(const Token& token) {
    const std::string size =
        token.m_type < Token::Object ? std::string(token.text()) : std::to_string(token.m_size);
    return std::to_string(token.m_type) + " " + size;
}

Reading read(std::string line, std::size_t skipped) {
    const std::size_t size = line.size();
    line.resize(size + host::stream::JsonLine::PADDING);
    host::stream::JsonLine json;
    host::stream::Fault fault;
    const Token* const root = json.parse(line.data(), size, fault);
    Reading reading{root != nullptr, {}};
    if (root == nullptr) return reading;
    for (const Token* token = root + skipped; token != root->next(); ++token)
        reading.tokens.push_back(textOf(*token));
    return reading;
}

bool isPlain(const std::string& line) {
    std::vector<Token> tokens;
    return host::stream::readPlainJson(line.c_str(), line.size(), tokens);
}

const char* const LINES[] = {
    R"({"msg":"metric","metric":1,"t":25134755261910,"data":[{"e":6,"d":5,"dur":3270,"info":[[1,{"h":3}]],"v":{"s":"a b"}}]})",
    R"( { "def" : "metric" , "entities":[ 1,22 ,333 ], "descriptors" : [[1,null]],"attributes":true ,"x":false } )",
    R"([-1,0,-0,0.5,-12.25,100000000000000000000,{"r":[0.5,"inf"]},[],{},[[[{}]]],"","~"])",
    R"("text")",
};

// The general parser reads what holds an escape.
TEST(PlainJson, AgreesWithTheGeneralParser) {
    std::mt19937 draw(5);
    const std::string bytes = "{}[]:,\"\\ 0123456789-.eEtrufalsn\t\n\x01\x7f";
    std::size_t goods = 0;
    for (const std::string line : LINES) {
        EXPECT_TRUE(isPlain(line)) << line;
        for (int i = 0; i < 4000; ++i) {
            std::string changed = line;
            for (std::size_t edits = draw() % 3; edits > 0; --edits) {
                const std::size_t at = draw() % changed.size();
                const std::string piece = draw() % 3 == 0 ? "" : std::string(1, bytes[draw() % bytes.size()]);
                changed.replace(at, draw() % 2, piece);
                if (changed.empty()) changed = "0";
            }
            const std::string wrapped = "[\"\\u0041\"," + changed + "]";
            const Reading alone = read(changed, 0);
            if (!isPlain(changed)) continue;
            ++goods;
            ASSERT_TRUE(alone.isGood) << changed;
            const Reading want = read(wrapped, 2);
            ASSERT_TRUE(want.isGood) << changed;
            ASSERT_EQ(want.tokens, alone.tokens) << changed;
        }
    }
    EXPECT_GT(goods, 2000U);
}

TEST(PlainJson, LeavesTheRestToTheGeneralParser) {
    for (const char* const line : {"",
                                   "[01]",
                                   "[1.]",
                                   "[-]",
                                   "[.5]",
                                   "[1e3]",
                                   "[+1]",
                                   "[nul]",
                                   "[truE]",
                                   "[\"a]",
                                   "[\"\\n\"]",
                                   "[\"\t\"]",
                                   "[1,]",
                                   "{\"a\":1,}",
                                   "{1:2}",
                                   "[1]]",
                                   "{\"a\" 1}",
                                   "[1 2]",
                                   "{]",
                                   "[}",
                                   "[[[[[[[[[[[[[[[[[1]]]]]]]]]]]]]]]]]",
                                   "[10000000000000000000000000000000000000000000]"})
        EXPECT_FALSE(isPlain(line)) << line;
}

}  // namespace
