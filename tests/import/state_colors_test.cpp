#include "import/state_colors.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/support/stream_runner.h"

namespace {

class StateColors : public testing::Test {
protected:
    StateColors() {
        m_runner.m_environment.m_logLevel = 3;
        createStateColorMap();
    }

    test::StreamRunner m_runner;
};

TEST_F(StateColors, FindsRowsBeforePartsOfThem) {
    const struct {
        const char* state;
        const char* color;
        bool isExact;
    } cases[] = {
        {"PC6", "1,150,0", true},
        {"pc6", "1,150,0", false},
        {"C1", "152,238,53", true},
        {"c1", "#4a72fe", false},  // "ACPI C1" is the first row that holds it
        {"idle", "153,153,153", false},
        {"NA", "#3CAC3C", false},  // "ENABLED"
        {"ACPI CO", "#ffffff", true},
        {"SOiO", "153,255,255", true},
        {"WRITE2", "0,151,0", true},
        {"DISACTIVE", "153,153,153", true},
        {"D0iX", "204,255,204", true},
        {"RW32", "250,171,34", true},
        {"READWRITE64", "34,250,171", true},
        {"S0iR", "204,153,255", true},
        {"self refresh", "153,153,153", false},
        {"", "#ffffff", false},  // part of every row
    };
    for (const auto& [state, color, isExact] : cases) {
        m_runner.m_infoLog.m_lines.clear();
        const auto colors = getColor(state);
        EXPECT_EQ(colors.first, color) << state;
        EXPECT_EQ(colors.second, color) << state;
        const std::string how = isExact ? "exact" : "partial";
        EXPECT_EQ(m_runner.m_infoLog.text(), "DEBUG: VyrtaWriterPlugin:    Found " + how +
                                                 " color match for '" + std::string(state) + "'\n");
    }
}

TEST_F(StateColors, DrawsTwoColorsForOtherStates) {
    for (const char* state : {"C6 residency", "WRITE32!", "purple"}) {
        std::srand(7);
        std::string expected[2];
        for (std::string& color : expected) {
            for (int i = 0; i < 3; ++i) color += std::to_string(std::rand() % 256) + (i < 2 ? "," : "");
        }
        const int next = std::rand();
        std::srand(7);
        const auto colors = getColor(state);
        EXPECT_EQ(colors.first, expected[0]);
        EXPECT_EQ(colors.second, expected[1]);
        EXPECT_EQ(std::rand(), next) << "six draws";
    }
}

}  // namespace
