// An environment whose logs are kept, for the tests of the frame.
#pragma once

#include <string>

#include "host/model/environment.h"
#include "pwr/logger.h"

// Keeps lines as "LEVEL|TEXT".
class KeptLog : public pwr::Logger {
public:
    void log(std::int32_t level, const char* text) override { m_lines += std::to_string(level) + "|" + text; }
    std::string m_lines;
};

struct TestLogs {
    KeptLog m_errors;
    KeptLog m_infos;
};

class TestEnvironment : private TestLogs, public host::model::Environment {
public:
    TestEnvironment() : Environment(m_errors, m_infos) {}
    const std::string& errorLines() const { return m_errors.m_lines; }
    const std::string& infoLines() const { return m_infos.m_lines; }
};
