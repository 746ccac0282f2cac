#include "host/importers/sample_line.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "host/base/utf8.h"
#include "host/emit/metric_line.h"

namespace host::importers {

void SampleLine::begin(std::uint32_t metric, std::uint64_t ticks) {
    end();
    emit::beginMetric(m_text, metric, ticks);
    m_count = 0;
    m_isOpen = true;
}

void SampleLine::end() {
    if (!m_isOpen) return;
    m_isOpen = false;
    m_text.append("]}");
    m_output.write(m_text);
}

void SampleLine::text(std::string_view text) {
    const std::string clean = base::toUtf8(text);
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writer.String(clean.data(), static_cast<rapidjson::SizeType>(clean.size()));
    m_text.append(",\"v\":{\"s\":").append(buffer.GetString(), buffer.GetSize()).append("}}");
}

}  // namespace host::importers
