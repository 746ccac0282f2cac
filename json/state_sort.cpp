#include "json/state_sort.h"

#include <algorithm>
#include <cstdlib>

#include "json/trie.h"

namespace {

// Up to this many elements std::sort is an insertion sort, which stays inside the list with any comparison.
constexpr std::size_t MAX_INSERTION_SORT = 16;

long toNumber(const char* text) {
    return std::strtol(text, nullptr, 10);
}

bool isNumericText(const char* text) {
    char* end = nullptr;
    std::strtol(text, &end, 10);
    return *end == '\0';
}

// Numbers by value, before texts by their bytes.
struct StringNumberSort {
    bool operator()(const std::string& a, const std::string& b) const {
        const bool aIsNumeric = isNumeric(a);
        const bool bIsNumeric = isNumeric(b);
        if (aIsNumeric && bIsNumeric) return toNumber(a.c_str()) < toNumber(b.c_str());
        if (aIsNumeric || bIsNumeric) return aIsNumeric;
        return a < b;
    }
};

// By the number after the first `m_prefixLength` characters; a rest that is no number goes before nothing.
struct StateSort {
    std::size_t m_prefixLength;

    bool operator()(const std::string& a, const std::string& b) const {
        const char* const restOfA = a.c_str() + m_prefixLength;
        const char* const restOfB = b.c_str() + m_prefixLength;
        return isNumericText(restOfA) && isNumericText(restOfB) && toNumber(restOfA) < toNumber(restOfB);
    }
};

template <typename Compare>
void sortNames(std::vector<std::string>& names, Compare compare) {
    if (names.size() <= MAX_INSERTION_SORT)
        std::sort(names.begin(), names.end(), compare);
    else
        std::stable_sort(names.begin(), names.end(), compare);
}

// The number of characters after which to sort; 0 if the names share none.
std::size_t findPrefixLength(const std::vector<std::string>& names) {
    const std::string& first = names.front();
    if (first.size() < 2) return 1;
    Trie trie;
    for (const std::string& name : names) trie.addWord(name);
    const std::vector<std::size_t> counts = trie.countWordsAlong(first);
    std::size_t length = 1;
    while (length < first.size()) {
        if (counts[length - 1] != names.size()) return length - 1;
        ++length;
    }
    return length;
}

}  // namespace

bool isNumeric(const std::string& text) {
    return isNumericText(text.c_str());
}

void sortStates(std::vector<std::string>& states) {
    if (states.empty()) return;
    if (std::any_of(states.begin(), states.end(), isNumeric)) return sortNames(states, StringNumberSort{});
    const std::size_t length = findPrefixLength(states);
    if (length != 0) sortNames(states, StateSort{length});
}
