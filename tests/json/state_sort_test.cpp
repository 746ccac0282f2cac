#include "json/state_sort.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using Names = std::vector<std::string>;

struct SortCase {
    const char* what;
    Names names;
    Names sorted;
};

const SortCase SORT_CASES[] = {
    {"nothing", {}, {}},
    {"one name", {"C6"}, {"C6"}},
    {"numbers by value", {"10", "9", "-1", "+2"}, {"-1", "+2", "9", "10"}},
    {"numbers before texts, texts by bytes", {"b", "9", "a", "10"}, {"9", "10", "a", "b"}},
    {"an empty name is a number", {"b", "", "a"}, {"", "a", "b"}},
    {"numbers beyond the largest long are equal",
     {"99999999999999999999", "9223372036854775807", "1"},
     {"1", "99999999999999999999", "9223372036854775807"}},
    {"behind a shared letter", {"C10", "C2", "C3"}, {"C2", "C3", "C10"}},
    {"a word that is a prefix of an earlier one is not counted", {"C10", "C2", "C1"}, {"C10", "C2", "C1"}},
    {"the same with nothing else", {"C1E", "C1"}, {"C1E", "C1"}},
    {"all but the last character of the first name is shared", {"C3", "C10", "C2"}, {"C3", "C10", "C2"}},
    {"nothing shared", {"C2", "D10"}, {"C2", "D10"}},
    {"a first name of one letter is not looked up", {"x", "b3", "a2"}, {"x", "a2", "b3"}},
    {"a longer shared prefix", {"PC10", "PC6", "PC3"}, {"PC3", "PC6", "PC10"}},
    {"the prefix is whole, so nothing is left to compare", {"PC6", "PC3", "PC2"}, {"PC6", "PC3", "PC2"}},
    {"what goes before the first name goes to the front", {"C20", "C1E", "C6"}, {"C6", "C20", "C1E"}},
    {"otherwise a rest that is no number stops it", {"C5", "C20", "C1E", "C6"}, {"C5", "C20", "C1E", "C6"}},
};

std::string named(const char* prefix, int number) {
    return std::string(prefix).append(std::to_string(number));
}

TEST(StateSortTest, SortsAsTheDocumentTells) {
    for (const SortCase& one : SORT_CASES) {
        Names names = one.names;
        sortStates(names);
        EXPECT_THAT(names, testing::ElementsAreArray(one.sorted)) << one.what;
    }
}

// With more than 16 names, among them some that compare with nothing, no name is lost.
TEST(StateSortTest, KeepsAllNamesOfALongMixedList) {
    Names names{"C100"};
    for (int i = 0; i < 200; ++i) names.push_back(named("C", i * 7 % 97) + named(i % 3 ? "x" : "_", i));
    for (int i = 99; i > 0; --i) names.push_back(named("C2", i));
    Names sorted = names;
    sortStates(sorted);
    EXPECT_THAT(sorted, testing::UnorderedElementsAreArray(names));
}

TEST(StateSortTest, SortsLongListsByNumber) {
    Names names{"S990"};
    for (int i = 40; i > 10; --i) names.push_back(named("S", i));
    Names sorted(names.rbegin(), names.rend());
    sortStates(names);
    EXPECT_EQ(names, sorted);

    // "S99" is a prefix of the first name and leaves no trace in the tree, so nothing is sorted.
    names = {"S990", "S99"};
    for (int i = 40; i > 10; --i) names.push_back(named("S", i));
    sorted = names;
    sortStates(sorted);
    EXPECT_EQ(sorted, names);
}

TEST(StateSortTest, TellsNumbersFromTexts) {
    for (const char* text : {"", "0", " 12", "-3", "+3", "99999999999999999999"})
        EXPECT_TRUE(isNumeric(text)) << text;
    for (const char* text : {"12a", " ", "1.5", "0x1", "12 ", "C1"}) EXPECT_FALSE(isNumeric(text)) << text;
}

}  // namespace
