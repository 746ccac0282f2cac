#include "host/kernel_events/name_pool.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "host/base/utf8.h"

namespace host::kernel_events {

NameId NamePool::get(std::string_view text) {
    if (const auto known = m_ids.find(text); known != m_ids.end()) return known->second;
    const std::string clean = base::toUtf8(text);
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writer.String(clean.data(), static_cast<rapidjson::SizeType>(clean.size()));
    m_names.push_back({std::string(text), "{\"s\":" + std::string(buffer.GetString()) + "}"});
    const auto id = static_cast<NameId>(m_names.size() - 1);
    m_ids.emplace(m_names.back().text, id);
    return id;
}

}  // namespace host::kernel_events
