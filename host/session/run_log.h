#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/base/descriptor.h"
#include "host/model/loggers.h"

namespace host::session {

// The log of a run: a file that gets every line, or standard error, where a line that repeats is shown ten
// times and counted at the end. Lines that come before it is started wait in memory.
class RunLog {
public:
    // `level` is the log level that the user has asked for.
    explicit RunLog(std::int32_t level);
    RunLog(const RunLog&) = delete;
    RunLog& operator=(const RunLog&) = delete;

    // What has not been started goes to standard error.
    ~RunLog();

    // Opens the file at `path`, and leaves what is in it; an empty path stands for standard error. Returns
    // false with errno set if that cannot be done.
    bool open(const std::string& path);

    // Empties the file, and lets the lines out that have waited.
    void start();

    // The two sinks of an environment.
    pwr::Logger& errorSink() { return m_errorSink; }
    pwr::Logger& infoSink() { return m_infoSink; }

    // From begin to end, lines above the user's level are kept back. Returns the first of them, without its
    // level's word and its line end.
    void beginKeeping() { m_isKeeping = true; }
    std::string endKeeping();

    // Says how often lines have come that were shown no more.
    void tellRepeats();

    // The lines that report an error: of level 1, or of level 0 in the error log; none at log level 0.
    std::size_t errorLines() const { return m_errorLines; }

    // The errno value of the first write to the file that failed, or 0.
    int error() const { return m_error; }

private:
    // What a writer sees.
    class Sink : public pwr::Logger {
    public:
        Sink(RunLog& log, bool isForErrors);
        ~Sink() override;
        void log(std::int32_t level, const char* text) override;

    private:
        // Hands on what is written to the sink as to a stream, in whole lines.
        class Lines : public std::streambuf {
        public:
            explicit Lines(RunLog& log) : m_log(log) {}

        protected:
            int_type overflow(int_type character) override;
            std::streamsize xsputn(const char* text, std::streamsize count) override;
            int sync() override;

        private:
            RunLog& m_log;
            std::string m_line;
        };

        RunLog& m_log;
        const bool m_isForErrors;
        Lines m_lines;
    };

    struct Repeats {
        std::size_t count = 0;
        std::string text;  // once it is shown no more
    };

    void take_i(std::int32_t level, bool isForErrors, std::string_view text);
    void show_i(std::string_view text);
    bool isRepeat_i(std::string_view text);
    void write_i(std::string_view text);

    const std::int32_t m_level;
    Sink m_errorSink;
    Sink m_infoSink;
    base::Descriptor m_file;
    bool m_isStarted = false;
    std::string m_waiting;
    bool m_isKeeping = false;
    std::string m_kept;
    std::size_t m_errorLines = 0;
    int m_error = 0;
    std::unordered_map<std::size_t, Repeats> m_repeats;  // by hash of the line
    std::vector<std::size_t> m_repeated;                 // the hashes of those shown no more, in order
};

}  // namespace host::session
