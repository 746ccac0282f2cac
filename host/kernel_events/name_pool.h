#pragma once

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
    NamePool() { get({}); }
    NamePool(const NamePool&) = delete;
    NamePool& operator=(const NamePool&) = delete;

    NameId get(std::string_view text);
    std::size_t size() const { return m_names.size(); }
    const std::string& text(NameId name) const { return m_names[name].text; }

    // The text as a value of the stream: {"s":"..."}.
    const std::string& value(NameId name) const { return m_names[name].value; }

private:
    struct Name {
        std::string text;
        std::string value;
    };
    std::deque<Name> m_names;
    std::unordered_map<std::string_view, NameId, TextHash> m_ids;  // of the texts above
};

}  // namespace host::kernel_events
