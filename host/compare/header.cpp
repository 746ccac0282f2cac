#include "host/compare/header.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "host/base/text.h"
#include "host/compare/cell.h"

namespace host::compare {

namespace {

constexpr std::string_view TIME = "Collection_Time";

}  // namespace

bool Fields::next(std::string_view& field) {
    if (m_isAtEnd) return false;
    const std::size_t comma = m_rest.find(',');
    field = m_rest.substr(0, comma);
    m_isAtEnd = comma == std::string_view::npos;
    if (!m_isAtEnd) m_rest.remove_prefix(comma + 1);
    return true;
}

bool Fields::isBlankNext() const {
    return !m_isAtEnd && !m_rest.empty() && base::isBlank(m_rest.front());
}

std::size_t countFields(std::string_view line) {
    if (line.empty()) return 0;
    const auto commas = static_cast<std::size_t>(std::count(line.begin(), line.end(), ','));
    return line.back() == ',' ? commas : commas + 1;
}

Header::Header(std::string text) : m_text(std::move(text)) {
    for (const Reading reading : {Plain, Joined})
        forEachName_i(reading, [&](std::string_view name) {
            if (name == TIME && !m_timeFields[reading]) m_timeFields[reading] = m_fields[reading];
            ++m_fields[reading];
        });
}

// A joined name is a part of the text too: the comma stands between its fields there as well.
template <typename Take>
void Header::forEachName_i(Reading reading, Take take) const {
    Fields fields(m_text);
    std::string_view name;
    while (fields.next(name)) {
        std::string_view more;
        while (reading == Joined && fields.isBlankNext() && fields.next(more))
            name = {name.data(), static_cast<std::size_t>(more.data() + more.size() - name.data())};
        take(name);
    }
}

std::optional<Header::Reading> Header::readingFor(std::size_t fields) const {
    if (fields == m_fields[Plain]) return Plain;
    if (fields == m_fields[Joined]) return Joined;
    return std::nullopt;
}

std::vector<std::optional<std::string>> Header::columnNames(Reading reading) const {
    std::vector<std::optional<std::string>> names;
    names.reserve(fields(reading));
    std::unordered_map<std::string_view, std::size_t> counts;
    counts.reserve(fields(reading));
    std::unordered_set<std::string> repeated;
    forEachName_i(reading, [&](std::string_view name) {
        if (name == BEGIN || name == TIME) {
            names.emplace_back();
            return;
        }
        std::size_t& count = counts[name];
        std::string unique = numberedName(name, ++count);
        // A name may look like a numbered one already.
        while (repeated.contains(unique) || (count > 1 && counts.contains(unique)))
            unique = numberedName(name, ++count);
        if (count > 1) repeated.insert(unique);
        names.push_back(std::move(unique));
    });
    return names;
}

std::string numberedName(std::string_view name, std::size_t k) {
    return k == 1 ? std::string(name) : std::string(name) + " #" + std::to_string(k);
}

std::optional<std::string> unitOf(std::string_view name) {
    if (!name.ends_with(')')) return std::nullopt;
    std::size_t open = 0;
    for (std::size_t i = name.size(); i-- > 0;) {
        if (name[i] == ')') ++open;
        if (name[i] == '(' && --open == 0) return std::string(name.substr(i + 1, name.size() - i - 2));
    }
    return std::nullopt;
}

}  // namespace host::compare
