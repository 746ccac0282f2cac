#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "plugins/writer_plugin.h"

// Option "auto": all summary tables of a run as one line of comma-separated values, appended to
// Automation_Summary.csv. A header line goes in front when the file's last header names other columns.
//
// Runs of several processes may append to one file: it is locked from reading to appending. Nothing is quoted
// or escaped. Everything is kept in memory until fini, which does all of the file work; a second fini would
// append the same line again.
class AutoWriter : public WriterPlugin {
public:
    AutoWriter();
    ~AutoWriter() override;

    // Starts the line with the output name. Returns 0.
    std::int32_t init(const std::string& outputName, bool continuous) override;

    // Appends the line, and the header if it is needed, to the file. Returns 1, with an error line, if the
    // file cannot be opened or written; what was in the file before then stays as it was.
    std::int32_t fini() override;

    // Adds the cells of a row, or takes the columns of an announced table: its rows must follow before the
    // next announcement. Returns 1 and keeps nothing of a row whose length differs from the columns'.
    std::int32_t writeMessage(const pwr::TableMessage& message) override;

    // Adds the start time and the duration of the collection. Returns 0.
    std::int32_t writeMessage(const pwr::SystemMessage& message) override;

    // Takes the container's metric information table, if it has one, like any other table.
    std::int32_t writeMessage(const pwr::MetricContainerInfoMessage& message) override;

    using WriterPlugin::writeMessage;

    // As the base does, but the titles of an entity's fields begin with the entity's field name wherever
    // they do not hold it already.
    void getColumnTitles(const pwr::TableMessage& message, std::deque<std::string>& titles) const override;

private:
    std::int32_t writeMessage_i(const pwr::TableMessage& table);
    std::int32_t reportTableStatus_i(const pwr::TableMessage& table);
    void announce_i(const pwr::TableMessage& table);
    std::int32_t addRow_i(const pwr::TableMessage& table);
    std::string keyOfRow_i(const std::deque<std::string>& values, std::size_t keyColumns) const;
    void addColumn_i(const std::string& name, const std::string& value);
    std::int32_t appendToFile_i() const;
    std::string path_i() const;

    std::string m_outputName;
    std::vector<std::string> m_columnNames;
    std::vector<std::string> m_rowValues;     // one per column name
    std::deque<std::string> m_currentTitles;  // of the table announced last
};
