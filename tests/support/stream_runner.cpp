#include "tests/support/stream_runner.h"

#include <algorithm>

#include "host/model/registry.h"

namespace test {

std::string CapturedLog::text() const {
    std::string all;
    for (const Line& line : m_lines) all += line.m_text;
    return all;
}

StreamRunner::StreamRunner() : m_environment(m_errorLog, m_infoLog) {
    host::model::Registry::reset();
    m_environment.m_logLevel = 4;
    m_delivery.setObserver([this](const host::session::StatusRecord& record) {
        m_statuses.push_back(std::to_string(record.m_line) + "," + record.m_writer + "," +
                             record.m_operation + "," + std::to_string(record.m_status));
    });
    m_reader = std::make_unique<host::stream::StreamReader>(m_delivery);
}

StreamRunner::~StreamRunner() {
    m_reader.reset();
    host::model::Registry::reset();
}

void StreamRunner::begin(const std::string& outputName, bool continuous) {
    m_delivery.init(outputName, continuous);
}

bool StreamRunner::feed(std::string_view lines) {
    while (!lines.empty()) {
        const std::size_t end = std::min(lines.find('\n'), lines.size());
        ++m_line;
        if (!m_reader->line(lines.substr(0, end), m_line)) {
            m_error = std::to_string(m_line) + ": " + m_reader->error();
            return false;
        }
        lines.remove_prefix(std::min(end + 1, lines.size()));
    }
    return true;
}

void StreamRunner::finish() {
    m_delivery.fini();
}

}  // namespace test
