#include "plugins/log.h"

#include <locale.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "plugins/memory_block.h"
#include "pwr/plugin_environment.h"

namespace {

const char* const LEVEL_WORDS[] = {"FATAL: ", "ERROR: ", "WARNING: ", "DEBUG: ", "INFO: "};

// While it lives, numbers have the form of the classic locale, whichever the host has chosen.
class ClassicLocale {
public:
    ClassicLocale() : m_before(uselocale(classic())) {}
    ClassicLocale(const ClassicLocale&) = delete;
    ClassicLocale& operator=(const ClassicLocale&) = delete;
    ~ClassicLocale() { uselocale(m_before); }

private:
    static locale_t classic() {
        static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
        return locale;
    }

    const locale_t m_before;
};

// Without memory for the line, what fits here of it is shown.
constexpr std::size_t SPARE_SIZE = 1024;

int formatClassic(char* text, std::size_t size, const char* format, va_list args) {
    const ClassicLocale locale;
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): it is the caller's, begun with va_start
    return std::vsnprintf(text, size, format, args);
}

void formatInto(char* line, std::size_t size, const char* word, const char* format, va_list args) {
    const int head = std::snprintf(line, size, "%s", word);
    formatClassic(line + head, size - static_cast<std::size_t>(head), format, args);
}

void logFormatted(pwr::Logger* sink, LogLevel level, const char* word, const char* format, va_list args) {
    va_list measured;
    va_copy(measured, args);
    const int length = formatClassic(nullptr, 0, format, measured);
    va_end(measured);
    if (length < 0 || sink == nullptr) return;

    const std::size_t size = std::strlen(word) + static_cast<std::size_t>(length) + 1;
    const MemoryBlock line = makeBlock(size);
    char spare[SPARE_SIZE];
    char* const text = line != nullptr ? line.get() : spare;
    formatInto(text, line != nullptr ? size : std::min(size, SPARE_SIZE), word, format, args);
    sink->log(static_cast<std::int32_t>(level), text);
}

}  // namespace

bool isLogged(LogLevel level, const char* tag) {
    const PluginEnvironment& environment = *g_pluginEnvironment;
    if (environment.m_logLevel >= static_cast<std::int32_t>(level)) return true;
    if (tag == nullptr) return false;
    // There are few tags, and no text is to be made to look one up.
    return std::any_of(environment.m_conditionalTags.begin(), environment.m_conditionalTags.end(),
                       [tag](const std::string& shown) { return shown == tag; });
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
