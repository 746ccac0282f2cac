#include "host/kernel_events/name_pool.h"

#include "host/base/json_printer.h"

namespace host::kernel_events {

NameId NamePool::find_i(std::string_view text, std::size_t hash) {
    if (const auto known = m_ids.find(text); known != m_ids.end()) {
        m_recent[hash % RECENT] = {hash, known->first, known->second};
        return known->second;
    }
    m_names.push_back({std::string(text), "{\"s\":" + base::quotedJson(text) + "}"});
    const auto id = static_cast<NameId>(m_names.size() - 1);
    m_ids.emplace(m_names.back().text, id);
    return id;
}

}  // namespace host::kernel_events
