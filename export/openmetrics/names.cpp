#include "export/openmetrics/names.h"

#include <algorithm>

#include "export/clean_text.h"

namespace exporting::openmetrics {

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

char toLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

struct KnownUnit {
    std::string_view units;
    const char* name;
    double factor;
    double divisor;
};

constexpr KnownUnit KNOWN_UNITS[] = {
    {"us", "seconds", 1, 1e6},    {"usec", "seconds", 1, 1e6}, {"ms", "seconds", 1, 1e3},
    {"msec", "seconds", 1, 1e3},  {"s", "seconds", 1, 1},      {"kB", "bytes", 1000, 1},
    {"KiB", "bytes", 1024, 1},    {"mW", "watts", 1, 1e3},     {"uJ", "joules", 1, 1e6},
    {"mJ", "joules", 1, 1e3},     {"MHz", "hertz", 1e6, 1},    {"%", "ratio", 1, 100},
    {"C", "celsius", 1, 1},       {"degC", "celsius", 1, 1},   {"\u00B0C", "celsius", 1, 1},
    {"degrees", "celsius", 1, 1}, {"W", "watts", 1, 1},        {"J", "joules", 1, 1},
    {"B", "bytes", 1, 1},         {"Hz", "hertz", 1, 1},
};

}  // namespace

std::string snakeCase(std::string_view text) {
    std::string out;
    bool isGap = false;
    for (const char c : text) {
        if (!isLetter(c) && !isDigit(c)) {
            isGap = true;
            continue;
        }
        if (isGap && !out.empty()) out += '_';
        isGap = false;
        out += toLower(c);
    }
    return out;
}

Unit baseUnit(std::string_view units) {
    if (units == "ticks") return {"seconds", 1, 1, true};
    const auto* const known = std::find_if(std::begin(KNOWN_UNITS), std::end(KNOWN_UNITS),
                                           [&](const KnownUnit& unit) { return unit.units == units; });
    if (known == std::end(KNOWN_UNITS)) return {snakeCase(units), 1, 1, false};
    return {known->name, known->factor, known->divisor, false};
}

std::string familyName(std::string_view name, std::string_view unit) {
    std::string out = snakeCase(name);
    if (out.empty()) out = "metric";
    if (isDigit(out.front())) out.insert(out.begin(), '_');
    if (unit.empty() || out == unit || hasSuffix(out, unit)) return out;
    out += '_';
    return out += unit;
}

bool hasSuffix(std::string_view name, std::string_view suffix) {
    return name.size() > suffix.size() && name.ends_with(suffix) &&
           name[name.size() - suffix.size() - 1] == '_';
}

bool isLabelName(std::string_view name) {
    if (name.empty() || isDigit(name.front()) || name.starts_with("__")) return false;
    return std::all_of(name.begin(), name.end(),
                       [](char c) { return isLetter(c) || isDigit(c) || c == '_'; });
}

void appendEscaped(std::string_view text, std::string& out) {
    std::string scratch;
    for (const char c : cleanText(text, scratch)) {
        if (c == '\n') {
            out += "\\n";
            continue;
        }
        if (c == '\\' || c == '"') out += '\\';
        out += c;
    }
}

}  // namespace exporting::openmetrics
