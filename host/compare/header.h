#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host::compare {

// Walks the fields of a line of an automation file. One empty field at the end is left out, as every line
// that the writer makes ends in a comma. See docs/formats/automation_summary.md.
class Fields {
public:
    explicit Fields(std::string_view line) : m_rest(line), m_isAtEnd(line.empty()) {
        if (line.ends_with(',')) m_rest.remove_suffix(1);
    }

    bool next(std::string_view& field);

    // Whether the next field begins with a blank.
    bool isBlankNext() const;

private:
    std::string_view m_rest;
    bool m_isAtEnd;
};

std::size_t countFields(std::string_view line);

// A header line of an automation file. Titles may hold commas, after which a blank comes as a rule; so there
// are two ways to read it: field by field, or with fields that begin with a blank joined to the one before.
class Header {
public:
    static constexpr std::string_view BEGIN = "Output_Name";

    enum Reading : std::size_t { Plain, Joined };

    explicit Header(std::string text);

    const std::string& text() const { return m_text; }
    std::size_t fields(Reading reading) const { return m_fields[reading]; }

    // The reading for lines with so many fields, if there is one.
    std::optional<Reading> readingFor(std::size_t fields) const;

    // The place of the collection's time, if there is one.
    std::optional<std::size_t> timeField(Reading reading) const { return m_timeFields[reading]; }

    // The names of all fields, the k-th of one name as "NAME #k"; none for those that are no columns.
    std::vector<std::optional<std::string>> columnNames(Reading reading) const;

private:
    template <typename Take>
    void forEachName_i(Reading reading, Take take) const;

    std::string m_text;
    std::array<std::size_t, 2> m_fields{};
    std::array<std::optional<std::size_t>, 2> m_timeFields;
};

// The k-th name of its kind (from 1) among columns.
std::string numberedName(std::string_view name, std::size_t k);

// What stands in the parentheses that end a name, if there are any.
std::optional<std::string> unitOf(std::string_view name);

}  // namespace host::compare
