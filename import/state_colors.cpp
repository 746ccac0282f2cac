#include "import/state_colors.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <initializer_list>
#include <map>

#include "import/vyrta_log.h"

namespace {

using Colors = std::pair<std::string, std::string>;

std::map<std::string, Colors> STATE_COLORS;

struct Row {
    const char* color;
    std::initializer_list<const char*> states;
};

// Spellings vary on purpose: collectors have used the letter O for the digit 0, and both cases.
const Row ROWS[] = {
    {"#ffffff", {"ACPI C0", "ACPI CO"}},
    {"#4a72fe", {"ACPI C1"}},
    {"#69a5ae", {"ACPI C2"}},
    {"#b53c42", {"ACPI C3"}},
    {"213,255,82", {"C0", "CO", "CC0", "CCO", "MC0", "MCO", "PC0", "PCO", "D0i0"}},
    {"152,238,53", {"C1", "CC1", "MC1", "PC1", "D0i1"}},
    {"119,220,30", {"C2", "CC2", "MC2", "PC2"}},
    {"0,238,118", {"C3", "CC3", "MC3", "PC3"}},
    {"89,195,17", {"C4", "CC4", "MC4", "PC4", "D0i2"}},
    {"54,160,10", {"C5", "CC5", "MC5", "PC5"}},
    {"1,150,0", {"C6", "CC6", "MC6", "PC6", "D0i3"}},
    {"0,60,0", {"C7", "CC7", "MC7", "PC7"}},
    {"255,255,102", {"C1i", "CC1i", "MC1i", "PC1i"}},
    {"255,255,51", {"C2i", "CC2i", "MC2i", "PC2i"}},
    {"255,255,0", {"C3i", "CC3i", "MC3i", "PC3i"}},
    {"255,0,0", {"RC0", "RCO"}},
    {"0,0,255", {"RC1"}},
    {"255,112,0", {"RC6"}},
    {"#3CAC3C", {"P[0]", "ACTIVE", "ENABLED"}},
    {"0,151,0", {"P[5]", "Write32", "WRITE2", "W32"}},
    {"250,171,34", {"P[10]", "Read32", "READ32", "R32", "ReadWrite32", "READWRITE32", "RW32"}},
    {"242,28,28", {"P[13]"}},
    {"34,250,171", {"Read64", "READ64", "R64", "ReadWrite64", "READWRITE64", "RW64"}},
    {"0,0,151", {"Write64", "WRITE64", "W64"}},
    {"0,255,133", {"ReadPartial", "READPARTIAL", "RP"}},
    {"80,0,255", {"WritePartial", "WRITEPARTIAL", "WP"}},
    {"79,15,79", {"ReadWritePartial", "READWRITEPARTIAL", "RWP"}},
    {"204,255,204", {"D0ix", "D0iX"}},
    {"153,153,153", {"DISACTIVE", "Self Refresh Cycles", "DISABLED", "IDLE"}},
    {"153,255,255", {"S0", "SO", "S0i0", "S0iO", "SOi0", "SOiO"}},
    {"0,0,102", {"S3"}},
    {"51,153,255", {"S0i1", "SOi1"}},
    {"0,128,255", {"S0i2", "SOi2"}},
    {"0,76,153", {"S0i3", "SOi3"}},
    {"204,153,255", {"S0iR", "SOiR", "S0iX", "SOiX"}},
};

std::string lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char byte) { return static_cast<char>(std::tolower(byte)); });
    return text;
}

std::string randomColor() {
    std::string color;
    for (int i = 0; i < 3; ++i) {
        if (i != 0) color += ',';
        color += std::to_string(std::rand() % 256);
    }
    return color;
}

}  // namespace

void createStateColorMap() {
    for (const Row& row : ROWS)
        for (const char* state : row.states) STATE_COLORS.try_emplace(state, row.color, row.color);
}

std::pair<std::string, std::string> getColor(const std::string& stateName) {
    const auto exact = STATE_COLORS.find(stateName);
    if (exact != STATE_COLORS.end()) {
        VYRTA_DEBUG("Found exact color match for '%s'\n", stateName.c_str());
        return exact->second;
    }
    const std::string wanted = lowered(stateName);
    for (const auto& [name, colors] : STATE_COLORS) {
        if (lowered(name).find(wanted) == std::string::npos) continue;
        VYRTA_DEBUG("Found partial color match for '%s'\n", stateName.c_str());
        return colors;
    }
    VYRTA_DEBUG("Could not find color match for '%s', generating random color...\n", stateName.c_str());
    Colors colors;
    colors.first = randomColor();
    colors.second = randomColor();
    return colors;
}
