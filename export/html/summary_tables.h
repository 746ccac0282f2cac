#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "export/result_file.h"
#include "plugins/writer_plugin.h"
#include "pwr/messages.h"
#include "pwr/table_message.h"

namespace exporting {

// The summary tables of a run, as texts, in order of their announcement.
class SummaryTables {
public:
    // Takes an announcement or a row. `writer` reads the row's cells.
    void take(const pwr::TableMessage& message, const WriterPlugin& writer);

    // Takes the header and the notes of a container's tables.
    void describe(const pwr::MetricContainerInfoMessage& message);

    // Appends the tables as HTML: each with its title as caption.
    void appendTo(ResultFile& page) const;

    // The number in the last column of the row of a table that begins with `key`; 0 if there is none.
    double numberOf(const std::string& title, const std::string& key) const;

private:
    struct Table {
        unsigned container = 0;
        std::string title;
        std::deque<std::string> headers;
        std::vector<std::deque<std::string>> rows;
        std::vector<std::string> notesBefore;
        std::vector<std::string> notesAfter;
    };
    struct Container {
        std::string header;
        std::vector<std::string> notes;
    };

    std::size_t announce_i(const pwr::TableMessage& message);

    std::vector<Table> m_tables;
    std::map<std::pair<unsigned, unsigned>, std::size_t> m_numbers;  // by container and table id
    std::map<unsigned, Container> m_containers;
};

}  // namespace exporting
