#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

// A node of a prefix tree of words; the root stands for the tree. A node stands for as many characters as no
// other word parts from, so that a tree is about as large as its words.
//
// A node is a word or not from the moment it comes into being: a word that is a proper prefix of one added
// before it leaves no trace, while one added before the longer word does.
class Trie {
public:
    Trie() = default;
    Trie(const Trie&) = delete;
    Trie& operator=(const Trie&) = delete;
    ~Trie();

    // Adds a word. An empty one does nothing.
    void addWord(const std::string& word);

    // Inserts into `result` every recorded word below this node that starts with `prefix`, each after
    // `soFar`, the text that leads to this node.
    void getWordsStartingWith(const std::string& prefix, std::set<std::string>& result,
                              const std::string& soFar) const;

    // The same for all recorded words at and below this node.
    void getWords(std::set<std::string>& result, const std::string& soFar) const;

    // For each length p from 1 to that of `word`, at index p - 1: how many recorded words start with the
    // first p characters of `word`. Costs one descent.
    std::vector<std::size_t> countWordsAlong(const std::string& word) const;

    // The number of non-empty words that were added to this tree, repetitions included.
    std::uint64_t getWordCount() const { return m_wordCount; }

private:
    using Children = std::map<signed char, std::unique_ptr<Trie>>;

    static Trie* addLeaf_i(Children& children, std::string_view label);
    static void split_i(std::unique_ptr<Trie>& node, std::size_t length);
    static std::size_t sharedLength_i(std::string_view label, std::string_view text);
    const Trie* find_i(char character) const;

    std::string m_label;                    // the characters between the node above and this one
    Children m_children;                    // by the first of their characters
    std::unique_ptr<Trie> m_nextToDestroy;  // links the nodes of a tree that is being destroyed
    std::uint64_t m_wordCount = 0;
    bool m_terminal = false;     // a word ends here
    std::size_t m_recorded = 0;  // recorded words at and below this node
};
