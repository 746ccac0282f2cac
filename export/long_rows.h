#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "export/result_file.h"
#include "export/run_clock.h"
#include "pwr/metric.h"
#include "pwr/table_message.h"

namespace exporting {

// Makes the rows of the writer "long".
class LongRows {
public:
    static constexpr std::string_view SAMPLES_HEADER =
        "run,host,time,elapsed,duration,group,metric,type,entity,item,unit,value,high,text\n";
    static constexpr std::string_view CELLS_HEADER = "run,host,start,table,key,column,value\n";

    // Takes what the metadata say now.
    LongRows(const std::string& run, const pwr::SystemMetadata& metadata);

    // Adds a row for each element of the metric's sample.
    void addSample(const pwr::Metric& metric, ResultFile& file);

    // Adds a row for each cell with a value in the table's row.
    void addCells(const pwr::TableMessage& message, ResultFile& file);

private:
    void describeSample_i(const pwr::Metric& metric);
    void appendDuration_i(std::uint64_t duration);
    void appendNames_i(const pwr::DataElement& element);
    void appendValue_i(const pwr::Data& value);
    template <typename Number>
    void appendNumber_i(const pwr::Data& value, int (pwr::Data::*read)(Number&) const);
    template <typename Number>
    void appendRange_i(const pwr::Data& value, int (pwr::Data::*read)(std::pair<Number, Number>&) const);
    template <typename Number>
    void printNumber_i(Number number);
    void appendText_i(const pwr::Data& value);
    std::string sharedKeyOf_i(const pwr::TableMessage& message);
    void addCellsOf_i(const pwr::TableMessage& message, const pwr::EntityHandle* entity, std::string_view key,
                      ResultFile& file);

    const RunClock m_clock;
    std::string m_run;    // the columns run and host, each with its comma
    std::string m_start;  // the column start

    // Of the sample that is being written: columns with their commas, and how its numbers are printed.
    std::string m_times;   // time and elapsed
    std::string m_metric;  // group, metric and type
    std::string m_unit;
    bool m_isInTicks = false;  // the numbers are ticks, to be printed as seconds

    std::uint64_t m_duration = 0;  // m_durationText is its text
    std::string m_durationText;
    std::string m_row;
    std::string m_text;
};

}  // namespace exporting
