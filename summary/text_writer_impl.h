#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "plugins/output_file.h"
#include "summary/temp_file_manager.h"
#include "summary/text_notes.h"

namespace pwr {
class DataHandle;
class EntityHandle;
class TableMessage;
class WriterInterfaceConfigFileParser;
}  // namespace pwr

// Feature name to metric name to metric container id.
using FeatureMap = std::unordered_map<std::string, std::unordered_map<std::string, unsigned int>>;

// The engine of the summary report.
//
// Tables arrive in any order and grow a row at a time, each in a TempFileManager under its combined id. The
// report is opened by init, stays empty during the run, and is laid out by fini in the order of the output
// configuration. Between the two the report's order must have been set.
class TextWriterImpl {
public:
    // `delimiter` stands between cells, `extension` ends the report's name.
    TextWriterImpl(const std::string& delimiter, const std::string& extension);
    TextWriterImpl(const TextWriterImpl&) = delete;
    TextWriterImpl& operator=(const TextWriterImpl&) = delete;

    // Removes the temporary files and closes the report.
    ~TextWriterImpl();

    // Creates the report. Returns 0, or 1 with a warning if that fails.
    int init(const std::string& outputName);

    // Writes the report and closes it. Returns 0, or 1 with a warning if there is no report or no order. A
    // report that could not be written whole is told by an error line.
    int fini();

    // Return the manager under the combined id, new if there is none yet: `created` says whether. The column
    // count matters only for a new one. Null if memory is short. The engine owns the managers.
    TempFileManager* getTempFile(unsigned long key, bool& created, int columnCount);
    TempFileManager* getTempMetricInfoFile(unsigned long key, bool& created, int columnCount);

    // Set the title, or write rows of the table that `message` describes, from column `firstColumn` on. A
    // manager without a file takes nothing, without complaint. They return 0, or 1 if a cell could not be
    // stored or, in handleData, looked up; it then reads "Invalid".
    int handleTitle(const pwr::TableMessage* message, TempFileManager* manager);
    int handleFieldHeaders(const pwr::TableMessage* message, TempFileManager* manager, int firstColumn);
    int handleFieldMetadata(const pwr::TableMessage* message, TempFileManager* manager, int firstColumn);
    int handlePerTableTextNotes(const pwr::TableMessage* message);
    int handleData(const pwr::TableMessage* message, const pwr::EntityHandle* entity,
                   TempFileManager* manager, int firstColumn);

    // Appends `text` as a cell of the manager's own file. A manager without a file takes nothing. Returns 0,
    // or 1 if the cell could not be stored.
    int writeText(TempFileManager* manager, const std::string& text);

    // The underlining of a cell: `length` dashes.
    std::string getDelimiter(unsigned long length) const;

    // Prints everything of a metric container, its header only if the container is not the previous one.
    void processPerMetricTables(unsigned int containerId, unsigned int previousContainerId);

    void setTscFrequency(float frequency) { m_tscFrequency = frequency; }  // MHz
    void setContainerNotes(unsigned int containerId, const pwr::TextNotes* notes);
    void setContainerHeader(unsigned int containerId, const std::string& header);

    // Sets the containers in order of arrival, which fini rearranges, and the names by which the output
    // configuration knows them. Both stay the caller's and must outlive fini.
    void setReportOrder(std::list<unsigned int>* metricOrder, FeatureMap* features);

private:
    using Managers = std::map<unsigned long, TempFileManager*>;

    void orderMetrics_i();
    void writeReport_i();
    void flushTable_i(TempFileManager& manager);
    void keepWriteError_i();

    std::string m_delimiter;
    std::string m_extension;
    std::string m_outputPath;
    Managers m_tableFiles;       // by combined id; owned
    Managers m_metricInfoFiles;  // by combined id; owned
    FilePtr m_outputFile;
    [[maybe_unused]] float m_tscFrequency;
    [[maybe_unused]] bool m_timelineTsc;
    NotesMap m_tableNotes;                                             // by table id
    NotesMap m_containerNotes;                                         // by metric container id
    std::unordered_map<unsigned int, std::string> m_containerHeaders;  // by metric container id
    std::list<unsigned int>* m_metricOrder;                            // metric container ids
    FeatureMap* m_features;
    pwr::WriterInterfaceConfigFileParser* m_configuration;
    std::unique_ptr<char[]> m_outputBuffer;  // of m_outputFile, which is closed before it goes
    int m_writeError;                        // errno of the first write to the report that failed, or 0
};
