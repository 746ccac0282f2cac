#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace host::inspect {

// The names that the records of a .pwr file have defined so far, by kind of thing and id. Metadata records
// hold the lower 32 bits of an id, so all look-ups go by those.
class PwrNames {
public:
    // `kind` is an info type such as "entity", or one of "info_type", "metric", "process" and "thread".
    void define(std::string_view kind, std::uint64_t id, std::string_view name) {
        auto found = m_names.find(kind);
        if (found == m_names.end()) found = m_names.emplace(kind, Table()).first;
        found->second.insert_or_assign(static_cast<std::uint32_t>(id), std::string(name));
    }

    // Null if there is none. Valid until the name is defined anew.
    const std::string* find(std::string_view kind, std::uint64_t id) const {
        const auto table = m_names.find(kind);
        if (table == m_names.end()) return nullptr;
        const auto found = table->second.find(static_cast<std::uint32_t>(id));
        return found != table->second.end() ? &found->second : nullptr;
    }

private:
    using Table = std::map<std::uint32_t, std::string>;

    std::map<std::string, Table, std::less<>> m_names;
};

}  // namespace host::inspect
