#include "host/compare/report.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "host/compare/html_report.h"
#include "host/compare/phrases.h"
#include "host/inspect/json_line.h"

namespace host::compare {

namespace {

constexpr std::array<std::pair<std::string_view, Format>, 5> FORMATS = {{{"text", Format::Text},
                                                                         {"csv", Format::Csv},
                                                                         {"json", Format::Json},
                                                                         {"markdown", Format::Markdown},
                                                                         {"html", Format::Html}}};

// The characters of a text in UTF-8.
std::size_t widthOf(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
    }));
}

void writeAligned(const Rows& rows, std::ostream& out) {
    if (rows.m_cells.empty()) return;
    std::vector<std::size_t> widths(rows.m_titles.size(), 0);
    const auto widen = [&](const std::vector<std::string>& row) {
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], widthOf(row[i]));
    };
    const auto write = [&](const std::vector<std::string>& row) {
        for (std::size_t i = 0; i + 1 < row.size(); ++i)
            out << row[i] << std::string(widths[i] - widthOf(row[i]) + 2, ' ');
        out << row.back() << '\n';
    };
    widen(rows.m_titles);
    for (const auto& row : rows.m_cells) widen(row);
    out << '\n';
    write(rows.m_titles);
    for (const auto& row : rows.m_cells) write(row);
    if (!rows.m_more.empty()) out << rows.m_more << '\n';
    out << '\n';
}

// A code span takes its text as it is, but for the mark that ends it and the one that ends a table's cell.
std::string codeSpan(std::string_view text) {
    std::string content;
    std::size_t ticks = 0;
    std::size_t longest = 0;
    for (const char character : text) {
        if (character == '|') content += '\\';
        content += character;
        ticks = character == '`' ? ticks + 1 : 0;
        longest = std::max(longest, ticks);
    }
    const std::string fence(longest + 1, '`');
    const std::string_view gap = longest > 0 ? " " : "";
    return fence + std::string(gap) + content + std::string(gap) + fence;
}

void writeMarkdownTable(const Rows& rows, std::ostream& out) {
    if (rows.m_cells.empty()) return;
    for (const std::string& title : rows.m_titles) out << "| " << title << ' ';
    out << "|\n";
    for (std::size_t i = 0; i < rows.m_titles.size(); ++i) out << (i == 0 ? "|---" : "|---:");
    out << "|\n";
    for (const auto& row : rows.m_cells) {
        out << "| " << codeSpan(row[0]) << ' ';
        for (std::size_t i = 1; i < row.size(); ++i) out << "| " << row[i] << ' ';
        out << "|\n";
    }
    if (!rows.m_more.empty()) out << '\n' << rows.m_more << '\n';
    out << '\n';
}

std::string csvField(std::string_view text) {
    if (text.find_first_of(",\"\r\n") == std::string_view::npos) return std::string(text);
    std::string field = "\"";
    for (const char character : text) {
        if (character == '"') field += '"';
        field += character;
    }
    return field + '"';
}

// Writes members of a JSON object, or the fields of a CSV line, one after the other.
class JsonMembers {
public:
    explicit JsonMembers(inspect::JsonLine& line) : m_line(line) {}

    void operator()(const char* name, std::string_view text) { m_line.field(name, text); }
    void operator()(const char* name, std::size_t number) { m_line.field(name, number); }
    template <typename T>
    void operator()(const char* name, const std::optional<T>& content) {
        if (content) {
            m_line.field(name, *content);
        } else {
            m_line.nullField(name);
        }
    }

private:
    inspect::JsonLine& m_line;
};

class CsvFields {
public:
    explicit CsvFields(std::ostream& out) : m_out(out) {}

    void operator()(const char*, std::string_view text) { field_i(csvField(text)); }
    void operator()(const char*, std::size_t number) { field_i(std::to_string(number)); }
    void operator()(const char*, const std::optional<std::string>& text) {
        field_i(csvField(text.value_or("")));
    }
    void operator()(const char*, const std::optional<double>& number) {
        field_i(number ? exactText(*number) : std::string());
    }

private:
    void field_i(std::string_view text) {
        m_out << (m_isFirst ? "" : ",") << text;
        m_isFirst = false;
    }

    std::ostream& m_out;
    bool m_isFirst = true;
};

class CsvTitles {
public:
    explicit CsvTitles(std::ostream& out) : m_out(out) {}

    template <typename T>
    void operator()(const char* name, const T&) {
        m_out << (m_isFirst ? "" : ",") << name;
        m_isFirst = false;
    }

private:
    std::ostream& m_out;
    bool m_isFirst = true;
};

std::optional<double> medianOf(const std::optional<Range>& range) {
    return range ? std::optional(range->m_median) : std::nullopt;
}

// The keys of a column, the same in json and csv.
template <typename Take>
void describe(const RunTable& table, const ColumnResult& column, Take take) {
    take("name", std::string_view(table.name(column.m_column)));
    take("unit", column.m_unit);
    take("nA", column.m_counts[0]);
    take("nB", column.m_counts[1]);
    take("medianA", medianOf(column.m_ranges[0]));
    take("medianB", medianOf(column.m_ranges[1]));
    take("change", column.m_change);
    take("low", column.m_low);
    take("high", column.m_high);
    take("p", column.m_p);
    take("adjustedP", column.m_adjustedP);
    take("verdict", nameOf(column.m_verdict));
    take("shift", column.m_shift);
    take("spreadP", column.m_spreadP);
}

template <typename Take>
void describe(const RunTable& table, const ColumnNoise& column, Take take) {
    take("name", std::string_view(table.name(column.m_column)));
    take("noise", column.m_noise);
    take("seen", column.m_seen);
}

template <typename Columns>
void writeCsv(const RunTable& table, const Columns& columns, std::ostream& out) {
    describe(table, typename Columns::value_type{}, CsvTitles(out));
    out << '\n';
    for (const auto& column : columns) {
        describe(table, column, CsvFields(out));
        out << '\n';
    }
}

template <typename Columns>
void writeJsonColumns(const RunTable& table, const Columns& columns, inspect::JsonLine& line) {
    line.beginArray("columns");
    for (const auto& column : columns) {
        line.beginObject();
        describe(table, column, JsonMembers(line));
        line.endObject();
    }
    line.endArray();
}

void writeJson(const RunTable& table, const Comparison& comparison, std::ostream& out) {
    inspect::JsonLine line(&out);
    line.begin();
    line.field("runsA", comparison.m_runs[0]);
    line.field("runsB", comparison.m_runs[1]);
    line.field("alpha", comparison.m_alpha);
    writeJsonColumns(table, comparison.m_columns, line);
    line.beginArray("drift");
    for (const Drift& drift : comparison.m_drifts) {
        line.beginObject();
        line.field("group", drift.m_group == 0 ? "A" : "B");
        line.field("name", table.name(drift.m_column));
        line.field("direction", drift.m_isUp ? "up" : "down");
        line.field("p", drift.m_p);
        line.field("adjustedP", drift.m_adjustedP);
        line.endObject();
    }
    line.endArray();
    line.end();
}

void writeNoiseJson(const RunTable& table, double alpha, const std::vector<ColumnNoise>& columns,
                    std::ostream& out) {
    inspect::JsonLine line(&out);
    line.begin();
    line.field("runs", table.runs(0));
    line.field("alpha", alpha);
    writeJsonColumns(table, columns, line);
    line.end();
}

void writeText(const RunTable& table, const Comparison& comparison, std::size_t top, std::ostream& out) {
    out << verdictText(comparison) << '\n';
    for (const std::string& text : machineTexts(comparison)) out << text << '\n';
    writeAligned(rowsOf(table, comparison, top), out);
    for (const std::string& text : remarkTexts(table, comparison, top)) out << text << '\n';
}

void writeMarkdown(const RunTable& table, const Comparison& comparison, std::size_t top, std::ostream& out) {
    out << verdictText(comparison) << "\n\n";
    for (const std::string& text : machineTexts(comparison)) out << "- " << codeSpan(text) << '\n';
    if (!comparison.m_machines.empty()) out << '\n';
    writeMarkdownTable(rowsOf(table, comparison, top), out);
    for (const std::string& text : remarkTexts(table, comparison, top)) out << "- " << codeSpan(text) << '\n';
}

}  // namespace

std::optional<Format> formatOf(std::string_view name) {
    for (const auto& [spelling, format] : FORMATS)
        if (spelling == name) return format;
    return std::nullopt;
}

void writeReport(Format format, const RunTable& table, const Comparison& comparison,
                 std::optional<std::size_t> top, std::ostream& out) {
    switch (format) {
        case Format::Text:
            return writeText(table, comparison, top.value_or(DEFAULT_TOP), out);
        case Format::Csv:
            return writeCsv(table, comparison.m_columns, out);
        case Format::Json:
            return writeJson(table, comparison, out);
        case Format::Markdown:
            return writeMarkdown(table, comparison, top.value_or(DEFAULT_TOP), out);
        case Format::Html:
            return writeHtml(table, comparison, top.value_or(table.columns()), out);
    }
}

void writeNoiseReport(Format format, const RunTable& table, double alpha,
                      const std::vector<ColumnNoise>& columns, std::optional<std::size_t> top,
                      std::ostream& out) {
    switch (format) {
        case Format::Text:
            out << noiseText(table) << '\n';
            return writeAligned(rowsOf(table, columns, top.value_or(DEFAULT_TOP)), out);
        case Format::Csv:
            return writeCsv(table, columns, out);
        case Format::Json:
            return writeNoiseJson(table, alpha, columns, out);
        case Format::Markdown:
            out << noiseText(table) << "\n\n";
            return writeMarkdownTable(rowsOf(table, columns, top.value_or(DEFAULT_TOP)), out);
        case Format::Html:
            return writeNoiseHtml(table, columns, top.value_or(table.columns()), out);
    }
}

std::string describeChange(const RunTable& table, const Comparison& comparison, std::size_t place) {
    const ColumnResult& column = comparison.m_columns[place];
    return printable(table.name(column.m_column)) + " " + changeText(column);
}

}  // namespace host::compare
