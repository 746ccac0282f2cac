#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "plugins/output_file.h"

namespace pwr {
class EntityHandle;
}  // namespace pwr

class CellPrinter;
class CellReader;

// A temporary file of cells, in the working directory.
//
//   offset  size    cell
//   0       4       length of the text in bytes, in the machine's byte order
//   4       length  the text, without a terminator
//
// Cells follow each other row by row, left to right. Nothing marks the end of a row.
struct TempFile {
    FilePtr file;  // null if it could not be opened
    std::string path;
    std::uint64_t size = 0;  // of the cells in it, in bytes
};

// One table of a report on its way to disk: cells are appended to a temporary file as they come, and only
// the width of each column is kept in memory. At the end the file is replayed into the report, padded.
//
// A manager holds one open file for its whole life, and one more for each entity that has cells of its own.
// After a failed write it takes no further cells, so that those that it has stay in step with the columns.
// Another run in the same folder uses the same names. A file that is not the one that was written is told,
// and counts as lost.
class TempFileManager {
public:
    // Creates the temporary file. If that fails the reason is logged, hasFile() is false, and the table is
    // lost, but the manager can be used all the same.
    explicit TempFileManager(int columnCount);
    TempFileManager(const TempFileManager&) = delete;
    TempFileManager& operator=(const TempFileManager&) = delete;

    // Closes and removes the files.
    ~TempFileManager();

    // Appends a cell of column `column` to the entity's file, or to the table's own for a null entity, and
    // flushes it. Returns 0, or 1 if the cell could not be stored. After flush it stores nothing and
    // returns 0.
    int pushString(const pwr::EntityHandle* entity, const std::string& text, int column);

    // Prints title, rows and an empty line to `output`: the table's own cells, then those of the entities by
    // ascending id. Returns 0, or 1 if something was lost. A second call prints the same table again.
    int flush(std::FILE* output, const std::string& delimiter);

    // Takes no further cells: those that it has are all that there will be.
    void stop() { m_incomplete = true; }

    bool hasFile() const { return m_base.file != nullptr; }
    void setTitle(const std::string& title) { m_title = title; }
    void setConsole(bool console) { m_console = console; }

private:
    TempFile* entityFile_i(const pwr::EntityHandle& entity);
    bool append_i(TempFile& target, const std::string& text);
    bool replayFiles_i(CellReader& reader, CellPrinter& printer);
    bool reopen_i(TempFile& source);

    TempFile m_base;
    std::string m_title;     // the line above the table
    std::string m_baseName;  // the stem of the files' names
    std::vector<std::int32_t> m_columnWidths;
    std::map<unsigned long, TempFile> m_entityFiles;  // by entity id
    [[maybe_unused]] std::int32_t m_firstRow;
    bool m_console;             // the table also goes to standard output
    bool m_incomplete = false;  // cells are missing
    bool m_replayed = false;    // the files are open for reading

    static std::uint32_t s_nextTempFileId;
};
