#include "json/trie.h"

#include <utility>

// Words can be long, so nothing here recurses along one except what lists them.

Trie::~Trie() {
    std::unique_ptr<Trie> pending;
    const auto takeChildren = [&pending](Trie& node) {
        for (auto& [character, child] : node.m_children) {
            if (child == nullptr) continue;  // memory was lacking for it
            child->m_nextToDestroy = std::move(pending);
            pending = std::move(child);
        }
        node.m_children.clear();
    };
    takeChildren(*this);
    while (pending != nullptr) {
        const std::unique_ptr<Trie> node = std::move(pending);
        pending = std::move(node->m_nextToDestroy);
        takeChildren(*node);
    }
}

void Trie::addWord(const std::string& word) {
    std::vector<Trie*> path{this};
    for (std::size_t i = 0; i < word.size(); ++i) {
        Trie& node = *path.back();
        ++node.m_wordCount;
        std::unique_ptr<Trie>& child = node.m_children[static_cast<signed char>(word[i])];
        if (child == nullptr) {
            child = std::make_unique<Trie>();
            child->m_terminal = i + 1 == word.size();
        }
        path.push_back(child.get());
    }
    // The last node is new exactly when it is a word that nothing counts yet.
    Trie& last = *path.back();
    if (!last.m_terminal || last.m_recorded != 0) return;
    for (Trie* node : path) ++node->m_recorded;
}

const Trie* Trie::find_i(char character) const {
    const auto child = m_children.find(static_cast<signed char>(character));
    return child != m_children.end() ? child->second.get() : nullptr;
}

void Trie::getWordsStartingWith(const std::string& prefix, std::set<std::string>& result,
                                const std::string& soFar) const {
    const Trie* node = this;
    for (const char character : prefix) {
        node = node->find_i(character);
        if (node == nullptr) return;
    }
    node->getWords(result, soFar + prefix);
}

void Trie::getWords(std::set<std::string>& result, const std::string& soFar) const {
    if (m_terminal) result.insert(soFar);
    for (const auto& [character, child] : m_children)
        child->getWords(result, soFar + static_cast<char>(character));
}

std::vector<std::size_t> Trie::countWordsAlong(const std::string& word) const {
    std::vector<std::size_t> counts(word.size(), 0);
    const Trie* node = this;
    for (std::size_t i = 0; i < word.size(); ++i) {
        node = node->find_i(word[i]);
        if (node == nullptr) break;
        counts[i] = node->m_recorded;
    }
    return counts;
}
