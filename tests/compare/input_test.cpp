// Cells, headers and rules, where their grammar has corners.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "host/compare/cell.h"
#include "host/compare/gate.h"
#include "host/compare/glob.h"
#include "host/compare/header.h"

namespace host::compare {
namespace {

TEST(Cell, IsANumberOfSignDigitsPointAndExponent) {
    const std::pair<const char*, double> numbers[] = {
        {"1", 1},          {"+1.5", 1.5},  {"-.5", -.5},          {"5.", 5},
        {" \t2e3 ", 2000}, {"1E-2", 0.01}, {"1e-400", 0},         {"-0", 0},
        {"0e999", 0},      {"1e+2", 100},  {"0.00001e-99999", 0}, {"-1e-99999999999999999999", 0},
        {"1e308", 1e308}};
    for (const auto& [text, number] : numbers) {
        const Cell cell = readCell(text);
        EXPECT_EQ(cell.m_kind, Cell::Number) << text;
        EXPECT_EQ(cell.m_number, number) << text;
        EXPECT_FALSE(std::signbit(cell.m_number) && cell.m_number == 0) << text;
    }
    for (const char* text : {"", " ", "\t", "Invalid", " Invalid "})
        EXPECT_EQ(readCell(text).m_kind, Cell::Missing) << text;
    for (const char* text : {"x", "1x", "--1", "+-1", "-", ".", "e5", "1e", "1 2", "0x10", "inf", "-nan",
                             "1e309", "1e99999999999999999999", "1,5", "invalid"})
        EXPECT_EQ(readCell(text).m_kind, Cell::Text) << text;
}

std::string namesOf(const Header& header, Header::Reading reading) {
    std::string all;
    for (const auto& name : header.columnNames(reading)) all += (name ? *name : "-") + "|";
    return all;
}

TEST(Header, JoinsFieldsThatBeginWithABlank) {
    const Header header("Output_Name,Collection_Time,a, b,\tc,d,");
    EXPECT_EQ(header.fields(Header::Plain), 6U);
    EXPECT_EQ(header.fields(Header::Joined), 4U);
    EXPECT_EQ(namesOf(header, Header::Joined), "-|-|a, b,\tc|d|");
    EXPECT_EQ(header.readingFor(6), Header::Plain);
    EXPECT_EQ(header.readingFor(4), Header::Joined);
    EXPECT_EQ(header.readingFor(5), std::nullopt);
}

TEST(Header, DropsOneEmptyFieldAtTheEnd) {
    EXPECT_EQ(Header("Output_Name,a").fields(Header::Plain), 2U);
    EXPECT_EQ(Header("Output_Name,a,").fields(Header::Plain), 2U);
    EXPECT_EQ(Header("Output_Name,a,,").fields(Header::Plain), 3U);
    EXPECT_EQ(countFields("x,,"), 2U);
    EXPECT_EQ(countFields(","), 1U);
}

TEST(Header, NumbersNamesThatRepeat) {
    EXPECT_EQ(namesOf(Header("Output_Name,x,y,x,x,"), Header::Plain), "-|x|y|x #2|x #3|");
    // Two columns never share a name, whatever they are called.
    EXPECT_EQ(namesOf(Header("Output_Name,x #2,x,x,x #2,"), Header::Plain), "-|x #2|x|x #3|x #2 #2|");
}

TEST(Header, FindsTheUnitAtTheNamesEnd) {
    EXPECT_EQ(unitOf("Duration (sec)"), "sec");
    EXPECT_EQ(unitOf("T: R (Percentage and Time)_CPU0_User (%)"), "%");
    EXPECT_EQ(unitOf("a (b (c))"), "b (c)");
    for (const char* name : {"", "plain", "a (b) c", "a)", "(sec) #2"})
        EXPECT_EQ(unitOf(name), std::nullopt) << name;
}

TEST(Glob, KnowsCaseAndCharactersAndNoEscapes) {
    EXPECT_TRUE(matches("Package*Power*", "Package_0 Power (W)"));
    EXPECT_FALSE(matches("package*", "Package"));
    EXPECT_TRUE(matches("T (?C)", "T (\xC2\xB0\x43)"));
    EXPECT_TRUE(matches("a\\*", "a\\b"));
    EXPECT_TRUE(matches("[!x]/*", ".//"));
}

TEST(Rule, SplitsAtTheLastColon) {
    const auto rule = parseRule("a:b*:+3%");
    ASSERT_TRUE(rule);
    EXPECT_EQ(rule->m_glob, "a:b*");
    EXPECT_EQ(rule->m_direction, Rule::Up);
    EXPECT_EQ(rule->m_limit, 0.03);
    EXPECT_EQ(parseRule("x:-0.5%")->m_direction, Rule::Down);
    EXPECT_EQ(parseRule("x:3%")->m_direction, Rule::Either);
    for (const char* text : {"", "x", ":3%", "x:3", "x:%", "x:+-3%", "x:3%%", "x:y%", "x:"})
        EXPECT_FALSE(parseRule(text)) << text;
    EXPECT_EQ(parsePercentage("1%"), 0.01);
    EXPECT_EQ(parsePercentage("0"), 0);
    for (const char* text : {"1", "-1%", "%", "x%", ""}) EXPECT_FALSE(parsePercentage(text)) << text;
}

}  // namespace
}  // namespace host::compare
