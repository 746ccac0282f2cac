#include "plugins/log.h"

#include <gtest/gtest.h>
#include <locale.h>

#include <utility>

#include "tests/plugins/test_environment.h"

namespace {

// Logs one line of each kind and counts how many arguments were evaluated.
int logAllKinds() {
    int evaluated = 0;
    LOG_FATAL("fatal %d\n", ++evaluated);
    LOG_NOTE("Note: %d\n", ++evaluated);
    LOG_ERROR("error %d\n", ++evaluated);
    LOG_WARNING("warning %d\n", ++evaluated);
    LOG_DEBUG("debug %d\n", ++evaluated);
    LOG_INFO("info %d\n", ++evaluated);
    LOG_INFO_TAG(JSON_WRITER_TAG, "tagged %d\n", ++evaluated);
    return evaluated;
}

}  // namespace

TEST(Log, LevelsAndSinks) {
    const char* const infoLines[] = {
        "0|Note: 2\n",
        "0|Note: 2\n",
        "0|Note: 2\n2|WARNING: warning 4\n",
        "0|Note: 2\n2|WARNING: warning 4\n3|DEBUG: debug 5\n",
        "0|Note: 2\n2|WARNING: warning 4\n3|DEBUG: debug 5\n4|INFO: info 6\n4|INFO: tagged 7\n",
    };
    const int evaluated[] = {2, 3, 4, 5, 7};
    for (int level = 0; level <= 4; ++level) {
        SCOPED_TRACE(level);
        TestEnvironment environment;
        environment.m_logLevel = level;
        EXPECT_EQ(logAllKinds(), evaluated[level]);
        EXPECT_EQ(environment.infoLines(), infoLines[level]);
        EXPECT_EQ(environment.errorLines(),
                  level < 1 ? "0|FATAL: fatal 1\n" : "0|FATAL: fatal 1\n1|ERROR: error 3\n");
    }
}

TEST(Log, TagsTurnOnTheirLinesOnly) {
    TestEnvironment environment;
    environment.m_logLevel = 0;
    environment.m_conditionalTags = {JSON_WRITER_TAG};
    LOG_WARNING("plain\n");
    LOG_INFO_TAG(BINARY_WRITER_TAG, "other\n");
    LOG_INFO_TAG(JSON_WRITER_TAG, "%s\n", std::string(5000, 'x').c_str());
    EXPECT_EQ(environment.infoLines(), "4|INFO: " + std::string(5000, 'x') + "\n");
}

// A host without a log, and a text that cannot be formatted.
TEST(Log, LeavesOutWhatHasNoPlaceOrNoText) {
    TestEnvironment environment;
    environment.m_logLevel = 4;
    const wchar_t unprintable[] = {0x1F600, 0};
    LOG_WARNING("%ls\n", unprintable);
    pwr::Logger* const log = std::exchange(environment.m_infoLog, nullptr);
    LOG_WARNING("lost\n");
    LOG_NOTE("lost\n");
    environment.m_infoLog = log;
    EXPECT_EQ(environment.infoLines(), "");
}

// Lines are formatted in the classic locale; the host has its own again after each.
TEST(Log, KeepsTheLocaleOfTheHost) {
    TestEnvironment environment;
    environment.m_logLevel = 4;
    const locale_t utf8 = newlocale(LC_ALL_MASK, "C.UTF-8", nullptr);
    const locale_t before = uselocale(utf8);
    LOG_WARNING("%.1f\n", 1.5);
    EXPECT_EQ(uselocale(before), utf8);
    freelocale(utf8);
    EXPECT_EQ(environment.infoLines(), "2|WARNING: 1.5\n");
}
