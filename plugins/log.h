// The log lines of the writers.
//
// Each macro tests whether the line shows before it evaluates its arguments: a line of level L shows when the
// environment's log level is L or more, or, for the forms with a tag, when the environment's conditional tags
// hold that tag. The level's word stands in front of the text; the text ends in a newline. Nothing here
// throws: without memory a long line is cut.
#pragma once

#include <cstdint>

enum class LogLevel : std::int32_t { Fatal = 0, Error = 1, Warning = 2, Debug = 3, Info = 4 };

// True if a line of this level shows; `tag` may be null for lines that name no tag.
bool isLogged(LogLevel level, const char* tag = nullptr);

// Formats the line into a buffer of its exact size and hands it to the sink of its level: error lines and
// fatal ones to the error log, all others to the information log.
void logLine(LogLevel level, const char* format, ...) __attribute__((format(printf, 2, 3)));

// A line for the user, without a level's word: always shown, in the information log at level 0.
void logNote(const char* format, ...) __attribute__((format(printf, 1, 2)));

#define LOG_LINE_IF_SHOWN(level, tag, ...)                           \
    do {                                                             \
        if (isLogged((level), (tag))) logLine((level), __VA_ARGS__); \
    } while (false)

#define LOG_FATAL(...) logLine(LogLevel::Fatal, __VA_ARGS__)
#define LOG_NOTE(...) logNote(__VA_ARGS__)
#define LOG_ERROR(...) LOG_LINE_IF_SHOWN(LogLevel::Error, nullptr, __VA_ARGS__)
#define LOG_WARNING(...) LOG_LINE_IF_SHOWN(LogLevel::Warning, nullptr, __VA_ARGS__)
#define LOG_DEBUG(...) LOG_LINE_IF_SHOWN(LogLevel::Debug, nullptr, __VA_ARGS__)
#define LOG_INFO(...) LOG_LINE_IF_SHOWN(LogLevel::Info, nullptr, __VA_ARGS__)
#define LOG_WARNING_TAG(tag, ...) LOG_LINE_IF_SHOWN(LogLevel::Warning, (tag), __VA_ARGS__)
#define LOG_DEBUG_TAG(tag, ...) LOG_LINE_IF_SHOWN(LogLevel::Debug, (tag), __VA_ARGS__)
#define LOG_INFO_TAG(tag, ...) LOG_LINE_IF_SHOWN(LogLevel::Info, (tag), __VA_ARGS__)

// The tags by which the host turns on a writer's lines.
inline constexpr const char* TEXT_WRITER_TAG = "text-writer-plugin";
inline constexpr const char* BINARY_WRITER_TAG = "binarywriter";
inline constexpr const char* JSON_WRITER_TAG = "jsonwriter";
inline constexpr const char* CONTINUOUS_WRITER_TAG = "continuous_writer";
