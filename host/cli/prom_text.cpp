#include "host/cli/prom_text.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "host/base/text.h"

namespace host::cli {

namespace {

// Without the labels that a scraper adds itself.
std::string withoutOrigin(std::string_view series) {
    std::string plain(series);
    for (const std::string_view label : {"host=\"", "run=\""}) {
        const std::size_t brace = plain.find('{');
        if (brace == std::string::npos || plain.compare(brace + 1, label.size(), label) != 0) continue;
        std::size_t end = brace + 1 + label.size();
        while (end < plain.size() && plain[end] != '"') end += plain[end] == '\\' ? 2 : 1;
        ++end;
        if (end < plain.size() && plain[end] == ',') ++end;
        plain.erase(brace + 1, end - brace - 1);
    }
    if (plain.ends_with("{}")) plain.resize(plain.size() - 2);
    return plain;
}

// Of two counters. Whole numbers stay so; others keep the digits that a double has, and no more.
std::string sum(const std::string& one, const std::string& other) {
    std::string_view left = one;
    std::string_view right = other;
    std::uint64_t first = 0;
    std::uint64_t second = 0;
    if (base::takeUnsigned(left, first) && left.empty() && base::takeUnsigned(right, second) && right.empty())
        return std::to_string(first + second);
    std::array<char, 40> text{};
    const double both = std::strtod(one.c_str(), nullptr) + std::strtod(other.c_str(), nullptr);
    const int length = std::snprintf(text.data(), text.size(), "%.15g", both);
    return {text.data(), static_cast<std::size_t>(length)};
}

}  // namespace

void PromText::takeType_i(std::string_view line) {
    const std::size_t blank = line.find(' ');
    m_current = line.substr(0, blank);
    const std::string type(line.substr(blank + 1));
    const auto [family, isNew] = m_families.try_emplace(m_current);
    m_isNew = isNew;
    if (!isNew) return;
    m_names.push_back(m_current);
    family->second.name = m_current + (type == "counter" ? "_total" : "");
    family->second.head = "# TYPE " + family->second.name + " " + type + "\n";
}

void PromText::takeHelp_i(std::string_view line) {
    Family& family = m_families[m_current];
    family.head += "# HELP " + family.name + std::string(line.substr(line.find(' '))) + "\n";
}

// "SERIES VALUE STAMP"; the last one counts.
void PromText::takeSample_i(std::string_view line) {
    const std::size_t stamp = line.rfind(' ');
    const std::size_t value = stamp == std::string_view::npos ? stamp : line.rfind(' ', stamp - 1);
    if (value == std::string_view::npos || m_current.empty()) return;
    Family& family = m_families[m_current];
    std::string series = withoutOrigin(line.substr(0, value));
    const auto [entry, isNew] = family.values.try_emplace(series);
    if (isNew && family.before.count(series) == 0) family.series.push_back(std::move(series));
    entry->second = line.substr(value + 1, stamp - value - 1);
}

void PromText::take(std::string_view text) {
    for (std::string_view line; base::takeLine(text, line);) {
        if (line.starts_with("# TYPE "))
            takeType_i(line.substr(7));
        else if (line.starts_with("# HELP ") && m_isNew)
            takeHelp_i(line.substr(7));
        else if (!line.starts_with('#'))
            takeSample_i(line);
    }
}

void PromText::continueFrom(std::string_view text) {
    Family* family = nullptr;  // null in one that is no counter
    for (std::string_view line; base::takeLine(text, line);) {
        if (line.starts_with("# TYPE ")) {
            constexpr std::string_view total = "_total";
            const std::string name(line.substr(7, line.rfind(' ') - 7));
            family = nullptr;
            if (!line.ends_with(" counter")) continue;
            m_names.push_back(name.substr(0, name.size() - total.size()));
            family = &m_families[m_names.back()];
            family->name = name;
        }
        if (family == nullptr) continue;
        if (line.starts_with('#')) {
            family->head.append(line).append(1, '\n');
            continue;
        }
        const std::size_t blank = line.rfind(' ');
        family->series.emplace_back(line.substr(0, blank));
        family->before[family->series.back()] = line.substr(blank + 1);
    }
}

std::string PromText::value_i(const Family& family, const std::string& series) {
    const auto now = family.values.find(series);
    const auto before = family.before.find(series);
    if (before == family.before.end()) return now->second;
    return now == family.values.end() ? before->second : sum(before->second, now->second);
}

std::string PromText::text() const {
    std::string all;
    for (const std::string& name : m_names) {
        const Family& family = m_families.at(name);
        all += family.head;
        for (const std::string& series : family.series)
            all.append(series).append(1, ' ').append(value_i(family, series)).append(1, '\n');
    }
    return all;
}

}  // namespace host::cli
