#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>

#include "host/kernel_events/text_hash.h"

namespace host::kernel_events {

// Stands for a text of a trace: of a process, a handler, a function, a mark. 0 is the empty one.
using NameId = std::uint32_t;

// The texts of a trace, each kept once, so that events are of one size and compare by number.
class NamePool {
public:
    NamePool() { find_i({}, TextHash()({})); }
    NamePool(const NamePool&) = delete;
    NamePool& operator=(const NamePool&) = delete;

    NameId get(std::string_view text) {
        const std::size_t hash = TextHash()(text);
        const Recent& recent = m_recent[hash % RECENT];
        return recent.hash == hash && recent.text == text ? recent.id : find_i(text, hash);
    }
    std::size_t size() const { return m_names.size(); }
    const std::string& text(NameId name) const { return m_names[name].text; }

    // The text as a value of the stream: {"s":"..."}.
    const std::string& value(NameId name) const { return m_names[name].value; }

private:
    // Few texts are looked up again and again: the last one of each remainder of its hash.
    static constexpr std::size_t RECENT = 1024;
    struct Recent {
        std::size_t hash = 0;
        std::string_view text;
        NameId id = 0;
    };
    struct Name {
        std::string text;
        std::string value;
    };
    NameId find_i(std::string_view text, std::size_t hash);

    std::deque<Name> m_names;
    std::unordered_map<std::string_view, NameId, TextHash> m_ids;  // of the texts above
    std::array<Recent, RECENT> m_recent;
};

}  // namespace host::kernel_events
