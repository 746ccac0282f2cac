#pragma once

#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "host/model/environment.h"
#include "host/session/delivery.h"
#include "host/stream/stream_reader.h"
#include "plugins/writer_plugin.h"

namespace test {

// A sink that keeps what it is given.
class CapturedLog : public pwr::Logger {
public:
    struct Line {
        std::int32_t m_level;
        std::string m_text;
        bool operator==(const Line&) const = default;
    };

    CapturedLog() { rdbuf(&m_stream); }
    void log(std::int32_t level, const char* text) override { m_lines.push_back({level, text}); }

    // All lines in one text.
    std::string text() const;

    std::vector<Line> m_lines;
    std::stringbuf m_stream;  // what was written to it as a stream
};

// Feeds lines of a message stream to writers in this process, as pwrhost does, and keeps what they report.
//
//   test::StreamRunner runner;
//   MyWriter writer;
//   runner.add(writer);
//   runner.begin("out");
//   ASSERT_TRUE(runner.feed(R"({"msg":"system","tscMHz":1000})")) << runner.m_error;
//   runner.finish();
//
// Every runner starts with an empty model, so there is one at a time, and it goes after the writers' last use
// of host objects. Writers that are destroyed before it need nothing of it.
class StreamRunner {
public:
    // All lines show, up to level 4, unless m_environment.m_logLevel is lowered.
    StreamRunner();
    ~StreamRunner();

    // Adds a writer, which stays the caller's.
    void add(WriterPlugin& writer) { m_delivery.add(writer); }

    // Calls init on the writers.
    void begin(const std::string& outputName = "run", bool continuous = false);

    // Feeds lines, separated by newlines. Returns false at the first bad one, with m_error "LINE: what".
    bool feed(std::string_view lines);

    // Calls fini on the writers. Feeding nothing more.
    void finish();

    // "LINE,WRITER,OPERATION,STATUS" of every status that is not 0.
    std::vector<std::string> m_statuses;
    std::string m_error;
    CapturedLog m_errorLog;
    CapturedLog m_infoLog;
    host::model::Environment m_environment;

private:
    host::session::Delivery m_delivery;
    std::unique_ptr<host::stream::StreamReader> m_reader;
    std::uint64_t m_line = 0;
};

}  // namespace test
