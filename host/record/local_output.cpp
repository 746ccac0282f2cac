#include "host/record/local_output.h"

#include <utility>

namespace host::record {

LocalOutput::LocalOutput(const std::string& save, emit::LineSink sink, Warn warn)
    : m_sink(std::move(sink)), m_warn(std::move(warn)) {
    if (save.empty()) return;
    m_save.emplace(save);
    if (!m_save->isGood()) m_warn(m_save->error());
}

bool LocalOutput::line(std::string_view line) {
    if (m_save) {
        const bool wasGood = m_save->isGood();
        m_save->append(line);
        if (line == R"({"msg":"flush"})") m_save->flush();
        if (wasGood && !m_save->isGood()) {
            m_failed = true;
            m_warn(m_save->error() + "; the results are not concerned");
        }
    }
    if (!m_refused && !m_sink(line)) m_refused = true;
    return !m_refused;
}

RecordResult LocalOutput::finish(bool isWhole) {
    if (m_save && !m_save->finish() && !m_failed) {
        m_failed = true;
        m_warn(m_save->error());
    }
    if (m_refused) return RecordResult::Refused;
    return m_failed || !isWhole ? RecordResult::Failed : RecordResult::Complete;
}

}  // namespace host::record
