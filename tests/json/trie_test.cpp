#include "json/trie.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "json/hash.h"

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

std::set<std::string> wordsStartingWith(const Trie& trie, const std::string& prefix) {
    std::set<std::string> words;
    trie.getWordsStartingWith(prefix, words, "");
    return words;
}

void addAll(Trie& trie, const std::vector<std::string>& words) {
    for (const std::string& word : words) trie.addWord(word);
}

struct WordsCase {
    std::vector<std::string> added;
    std::string prefix;
    std::vector<std::string> found;
};

const WordsCase WORDS_CASES[] = {
    {{"C1E", "C1"}, "", {"C1E"}},        // a proper prefix of an earlier word leaves no trace
    {{"C1", "C1E"}, "", {"C1", "C1E"}},  // the other way round both are there
    {{"C10", "C2", "C1"}, "C", {"C10", "C2"}},
    {{"C1", "C1"}, "C1", {"C1"}},
    {{"", "C1"}, "", {"C1"}},  // an empty word does nothing
    {{"C1"}, "C12", {}},
    {{"C1", "P2"}, "X", {}},
    {{"\x80z", "az"}, "", {"az", "\x80z"}},
};

TEST(TrieTest, FindsRecordedWords) {
    for (const WordsCase& one : WORDS_CASES) {
        Trie trie;
        addAll(trie, one.added);
        EXPECT_THAT(wordsStartingWith(trie, one.prefix), ElementsAreArray(one.found)) << one.prefix;
    }
}

TEST(TrieTest, CountsRepeatedWordsInTheWordCountOnly) {
    Trie trie;
    addAll(trie, {"C1", "C1", ""});
    EXPECT_EQ(trie.getWordCount(), 2U);
    EXPECT_THAT(trie.countWordsAlong("C1"), ElementsAre(1, 1));
}

// The counts along a word are what listing the words of each of its prefixes gives.
TEST(TrieTest, CountsAlongAWordAsTheListsDo) {
    const std::vector<std::string> words = {"PC6R", "PC6", "PC2", "PC10", "P", "PC1", "PC10x", "Q", "PC2"};
    Trie trie;
    addAll(trie, words);
    for (const std::string& word : {std::string("PC6R"), std::string("PC10xyz"), std::string("Z1")}) {
        const std::vector<std::size_t> counts = trie.countWordsAlong(word);
        ASSERT_EQ(counts.size(), word.size());
        for (std::size_t p = 1; p <= word.size(); ++p)
            EXPECT_EQ(counts[p - 1], wordsStartingWith(trie, word.substr(0, p)).size()) << word << p;
    }
}

// Short words of two letters part, end and meet at every place of a label.
TEST(TrieTest, HoldsWhatAListHolds) {
    std::mt19937 random(7);
    const auto word = [&random] {
        std::string text;
        for (std::size_t length = random() % 6; length > 0; --length) text += random() % 2 == 0 ? 'a' : 'b';
        return text;
    };
    for (int round = 0; round < 500; ++round) {
        Trie trie;
        std::vector<std::string> added;
        std::set<std::string> recorded;
        for (std::size_t count = random() % 12; count > 0; --count) {
            added.push_back(word());
            const std::string& last = added.back();
            trie.addWord(last);
            const bool isKnown = std::any_of(added.begin(), added.end() - 1, [&](const std::string& before) {
                return before.starts_with(last);
            });
            if (!last.empty() && !isKnown) recorded.insert(last);
        }
        const std::string prefix = word();
        std::set<std::string> expected;
        for (const std::string& one : recorded)
            if (one.starts_with(prefix)) expected.insert(one);
        ASSERT_EQ(wordsStartingWith(trie, prefix), expected) << testing::PrintToString(added) << prefix;
        if (!prefix.empty()) {
            ASSERT_EQ(trie.countWordsAlong(prefix).back(), expected.size()) << prefix;
        }
    }
}

TEST(TrieTest, SurvivesAVeryLongWord) {
    const std::string word(300000, 'a');
    Trie trie;
    trie.addWord(word);
    EXPECT_EQ(trie.countWordsAlong(word).back(), 1U);
}

TEST(HashTest, FoldsSignedBytes) {
    const std::tuple<const char*, std::uint32_t, std::uint32_t> cases[] = {
        {"", 0, 0}, {"", 77, 77}, {"AB", 0, 6631}, {"\xFF\x01", 0, 4294967196U}, {"A", 2, 267},
    };
    for (const auto& [text, seed, expected] : cases) EXPECT_EQ(hash(text, seed), expected) << text;
}

}  // namespace
