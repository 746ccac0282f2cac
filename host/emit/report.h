// The summary tables of a recording, and what stands around them in the report.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/emit/definitions.h"
#include "host/emit/output.h"

namespace host::emit {

// A metric's place in the report.
struct Section {
    Id metric;
    std::string feature;  // the part of the report that it belongs to
    std::string name;     // the metric's name
    std::string note;     // explains the tables, stands before them; may be empty
};

// Writes the messages of the report in the order of the calls.
class Report {
public:
    Report(Output& output, Definitions& definitions) : m_output(output), m_definitions(definitions) {}

    // A line of the head of the report, and one of the notes after it.
    void header(const std::string& text);
    void note(const std::string& text);

    // Begins the section of a metric, whose tables follow.
    void section(const Section& section);

    // Begins a table of the section, whose rows follow: a text for each column.
    void table(const std::string& title, const std::vector<std::string>& columns);
    void row(const std::vector<std::string>& cells);

    // Defines the order in which the report holds the sections: by feature as in `features`, then as written.
    void order(const std::vector<std::string>& features);

private:
    Output& m_output;
    Definitions& m_definitions;
    Id m_container = 0;
    Id m_table = 0;                                               // tables are counted over the whole report
    std::vector<std::pair<std::string, std::string>> m_sections;  // feature and metric
};

}  // namespace host::emit
