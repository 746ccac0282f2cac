#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "overtime/int_writer_v2.h"

// Writes the tables of IntWriterV2 in another arrangement: a sampled metric has one table with its entities
// as columns, tables are spread over files by the metric's group, and a file of their own says what the
// columns of each metric stand for. All files are made by fini:
//
//     <output name>_meta_phm.csv     the columns of all metrics
//     <output name>_phm.csv          tables of metrics without a group
//     <output name>_<group>_phm.csv  tables of a group, whose name is in lower case, less a leading "pmt-"
class PhmTextWriter : public IntWriterV2 {
public:
    PhmTextWriter();
    ~PhmTextWriter() override;

    using IntWriterV2::writeMessage;

    // Keeps the path. Returns 0. The flag is ignored.
    std::int32_t init(const std::string& outputName, bool continuous) override;

    // Writes all files. Returns 1 if one could not be created, which ends the writing, or is incomplete.
    std::int32_t fini() override;

    // Keeps the text for the head of each file. Returns 0.
    std::int32_t writeMessage(const pwr::TextMessage& message) override;

    std::int32_t writeSampledGeneric(const pwr::Metric& metric, std::uint64_t tableIndex,
                                     Calculations calculation, const pwr::Quantity* quantity,
                                     const std::string& titleSuffix,
                                     const std::string& defaultValue) override;
    std::int32_t writeTracedMetric(const pwr::Metric& metric) override;

    // The table of a metric and an inner key, made with `title` and `defaultValue` on first use; throws what
    // the table's constructor throws. All tables of the metric go to the file of the group named last.
    BackingStoreWrapper* getStore(const std::string& title, std::uint32_t metricId,
                                  const std::string& groupName, std::uint64_t innerKey,
                                  const std::string& defaultValue);

    // The title between two rules of its own length.
    static std::string getTitleString(const std::string& title);

    // Keeps what the metric's columns stand for, if nothing is kept under its name. Returns 0.
    std::int32_t processMetaData(const pwr::Metric& metric);

    // Writes the metadata file. Returns 0, or 1 if it can't be created.
    std::int32_t flushMetaData();

private:
    struct OpenFile {
        std::string path;
        FilePtr file;
        int writeError = 0;
    };

    std::int32_t writeFiles_i();
    void describeColumns_i(const pwr::Metric& metric);
    std::string metadataPath_i() const;
    std::string groupPath_i(const std::string& groupName) const;
    bool openTableFile_i(OpenFile& out, const std::string& path) const;
    void finishTableFile_i(OpenFile& out);
    std::int32_t flushTables_i(OpenFile& defaultFile, std::map<std::string, OpenFile>& groupFiles);
    void addDataColumns_i(const pwr::Metric& metric, TableInfo& table) const;
    static std::uint16_t columnOf_i(const pwr::DataElement& element, TableInfo& table);
    TableInfo* tracedTable_i(const pwr::Metric& metric, const pwr::DataElement& element);

    std::string m_basePath;
    std::string m_notes;                                       // the texts so far
    std::map<std::uint64_t, std::string> m_tableGroups;        // by metric id
    std::map<std::string, std::vector<pwr::Data>> m_metadata;  // by metric name
};
