#include "plugins/log.h"

#include <cstdarg>
#include <cstdio>
#include <string>

#include "pwr/plugin_environment.h"

namespace {

const char* const LEVEL_WORDS[] = {"FATAL: ", "ERROR: ", "WARNING: ", "DEBUG: ", "INFO: "};

void logFormatted(pwr::Logger* sink, LogLevel level, const char* word, const char* format, va_list args) {
    va_list measured;
    va_copy(measured, args);
    const int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    if (length < 0 || sink == nullptr) return;

    std::string line(word);
    const std::size_t head = line.size();
    line.resize(head + static_cast<std::size_t>(length));
    std::vsnprintf(line.data() + head, static_cast<std::size_t>(length) + 1, format, args);
    sink->log(static_cast<std::int32_t>(level), line.c_str());
}

}  // namespace

bool isLogged(LogLevel level, const char* tag) {
    const PluginEnvironment& environment = *g_pluginEnvironment;
    if (environment.m_logLevel >= static_cast<std::int32_t>(level)) return true;
    return tag != nullptr && !environment.m_conditionalTags.empty() &&
           environment.m_conditionalTags.count(tag) != 0;
}

void logLine(LogLevel level, const char* format, ...) {
    const PluginEnvironment& environment = *g_pluginEnvironment;
    pwr::Logger* const sink = level <= LogLevel::Error ? environment.m_errorLog : environment.m_infoLog;
    va_list args;
    va_start(args, format);
    logFormatted(sink, level, LEVEL_WORDS[static_cast<std::int32_t>(level)], format, args);
    va_end(args);
}

void logNote(const char* format, ...) {
    va_list args;
    va_start(args, format);
    logFormatted(g_pluginEnvironment->m_infoLog, LogLevel::Fatal, "", format, args);
    va_end(args);
}
