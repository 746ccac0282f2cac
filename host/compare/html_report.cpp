#include "host/compare/html_report.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "host/base/text.h"
#include "host/compare/phrases.h"

namespace host::compare {

namespace {

constexpr std::string_view HEAD = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'">
<meta name="viewport" content="width=device-width">
<style>
body { font: 15px/1.5 sans-serif; margin: 2em; color: #222; background: #fff }
table { border-collapse: collapse }
th, td { padding: .3em .8em; border-bottom: 1px solid #ddd; text-align: right; white-space: nowrap }
th:first-child, td:first-child { text-align: left; white-space: normal; overflow-wrap: anywhere }
svg { display: block }
line { stroke: #ccc }
.a { fill: #2166ac; fill-opacity: .6 }
.b { fill: #d6604d; fill-opacity: .6 }
</style>
)";

std::string escaped(std::string_view text) {
    std::string result;
    for (const char character : text) {
        switch (character) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '"':
                result += "&quot;";
                break;
            case '\'':
                result += "&#39;";
                break;
            default:
                result += character;
        }
    }
    return result;
}

void writeHead(std::string_view title, std::ostream& out) {
    out << HEAD << "<title>" << escaped(title) << "</title>\n</head>\n<body>\n<h1>" << escaped(title)
        << "</h1>\n";
}

void writeTail(std::ostream& out) {
    out << "</body>\n</html>\n";
}

void writeParagraph(std::string_view text, std::ostream& out) {
    if (!text.empty()) out << "<p>" << escaped(text) << "</p>\n";
}

// All runs of a column as dots from the least to the most, A above B.
class Picture {
public:
    Picture(const RunTable& table, const ColumnResult& column)
        : m_table(table),
          m_column(column.m_column),
          m_least(std::min(column.m_ranges[0]->m_least, column.m_ranges[1]->m_least)),
          m_most(std::max(column.m_ranges[0]->m_most, column.m_ranges[1]->m_most)) {}

    void write(std::ostream& out) const {
        out << R"(<svg width="260" height="44" role="img" aria-label="all runs, A above B">)"
            << R"(<line x1="10" x2="250" y1="12" y2="12"/><line x1="10" x2="250" y1="32" y2="32"/>)";
        writeDots_i(0, "a", 12, out);
        writeDots_i(1, "b", 32, out);
        out << "</svg>";
    }

private:
    void writeDots_i(std::size_t group, const char* style, int y, std::ostream& out) const {
        for (const double number : m_table.numbers(m_column, group))
            out << "<circle class=\"" << style << "\" cx=\"" << base::fixedText(placeOf_i(number), 1)
                << "\" cy=\"" << y << "\" r=\"4\"/>";
    }

    // Halves, since the width of the largest range is no double.
    double placeOf_i(double number) const {
        const double width = m_most / 2 - m_least / 2;
        return 10 + (width > 0 ? 240 * ((number / 2 - m_least / 2) / width) : 120);
    }

    const RunTable& m_table;
    std::size_t m_column;
    double m_least;
    double m_most;
};

// Writes a table; `picture` adds a cell to the row of a place, or nothing.
template <typename Picture>
void writeTable(const Rows& rows, std::string_view pictureTitle, Picture picture, std::ostream& out) {
    if (rows.m_cells.empty()) return;
    out << "<table>\n<tr>";
    for (const std::string& title : rows.m_titles) out << "<th>" << escaped(title) << "</th>";
    if (!pictureTitle.empty()) out << "<th>" << pictureTitle << "</th>";
    out << "</tr>\n";
    for (std::size_t i = 0; i < rows.m_cells.size(); ++i) {
        out << "<tr>";
        for (const std::string& cell : rows.m_cells[i]) out << "<td>" << escaped(cell) << "</td>";
        picture(rows.m_places[i]);
        out << "</tr>\n";
    }
    out << "</table>\n";
    writeParagraph(rows.m_more, out);
}

}  // namespace

void writeHtml(const RunTable& table, const Comparison& comparison, std::size_t top, std::ostream& out) {
    writeHead(verdictText(comparison), out);
    for (const std::string& text : machineTexts(comparison)) writeParagraph(text, out);
    Rows rows = rowsOf(table, comparison, top);
    // The picture says more than the bar.
    rows.m_titles.pop_back();
    for (auto& row : rows.m_cells) row.pop_back();
    writeTable(
        rows, "All runs, A above B",
        [&](std::size_t place) {
            out << "<td>";
            Picture(table, comparison.m_columns[place]).write(out);
            out << "</td>";
        },
        out);
    for (const std::string& text : remarkTexts(table, comparison, top)) writeParagraph(text, out);
    writeTail(out);
}

void writeNoiseHtml(const RunTable& table, const std::vector<ColumnNoise>& columns, std::size_t top,
                    std::ostream& out) {
    writeHead(noiseText(table), out);
    writeTable(
        rowsOf(table, columns, top), {}, [](std::size_t) {}, out);
    writeTail(out);
}

}  // namespace host::compare
