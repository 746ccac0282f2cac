#include "json/trie.h"

#include <algorithm>
#include <utility>

// There can be many words, each a prefix of the next, so nothing here recurses along them except what lists
// them.

Trie::~Trie() {
    std::unique_ptr<Trie> pending;
    const auto takeChildren = [&pending](Trie& node) {
        for (auto& [character, child] : node.m_children) {
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
    if (word.empty()) return;
    ++m_wordCount;
    std::vector<Trie*> path{this};
    std::string_view rest = word;
    while (true) {
        Children& children = path.back()->m_children;
        const auto found = children.find(static_cast<signed char>(rest.front()));
        if (found == children.end()) {
            path.push_back(addLeaf_i(children, rest));
            break;
        }
        const std::size_t shared = sharedLength_i(found->second->m_label, rest);
        // A prefix of what is there already leaves no trace.
        if (shared == rest.size()) return;
        if (shared < found->second->m_label.size()) split_i(found->second, shared);
        path.push_back(found->second.get());
        rest.remove_prefix(shared);
    }
    for (Trie* node : path) ++node->m_recorded;
}

Trie* Trie::addLeaf_i(Children& children, std::string_view label) {
    auto leaf = std::make_unique<Trie>();
    leaf->m_label = label;
    leaf->m_terminal = true;
    return children.emplace(static_cast<signed char>(label.front()), std::move(leaf)).first->second.get();
}

// Puts a node that is no word in front of `node`, for the first `length` characters of its label.
void Trie::split_i(std::unique_ptr<Trie>& node, std::size_t length) {
    auto front = std::make_unique<Trie>();
    front->m_label = node->m_label.substr(0, length);
    front->m_recorded = node->m_recorded;
    const auto place = front->m_children.try_emplace(static_cast<signed char>(node->m_label[length])).first;
    node->m_label.erase(0, length);
    place->second = std::move(node);
    node = std::move(front);
}

std::size_t Trie::sharedLength_i(std::string_view label, std::string_view text) {
    const auto end = std::mismatch(label.begin(), label.end(), text.begin(), text.end()).first;
    return static_cast<std::size_t>(end - label.begin());
}

const Trie* Trie::find_i(char character) const {
    const auto child = m_children.find(static_cast<signed char>(character));
    return child != m_children.end() ? child->second.get() : nullptr;
}

void Trie::getWordsStartingWith(const std::string& prefix, std::set<std::string>& result,
                                const std::string& soFar) const {
    const Trie* node = this;
    std::string text = soFar;
    for (std::string_view rest = prefix; !rest.empty();) {
        node = node->find_i(rest.front());
        if (node == nullptr) return;
        const std::size_t shared = sharedLength_i(node->m_label, rest);
        if (shared < node->m_label.size() && shared < rest.size()) return;
        text += node->m_label;
        rest.remove_prefix(shared);
    }
    node->getWords(result, text);
}

void Trie::getWords(std::set<std::string>& result, const std::string& soFar) const {
    if (m_terminal) result.insert(soFar);
    for (const auto& [character, child] : m_children) child->getWords(result, soFar + child->m_label);
}

std::vector<std::size_t> Trie::countWordsAlong(const std::string& word) const {
    std::vector<std::size_t> counts(word.size(), 0);
    const Trie* node = this;
    for (std::size_t at = 0; at < word.size();) {
        node = node->find_i(word[at]);
        if (node == nullptr) break;
        const std::size_t shared = sharedLength_i(node->m_label, std::string_view(word).substr(at));
        std::fill_n(counts.begin() + static_cast<std::ptrdiff_t>(at), shared, node->m_recorded);
        if (shared < node->m_label.size()) break;
        at += shared;
    }
    return counts;
}
