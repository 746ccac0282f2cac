#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "overtime/pending_row.h"
#include "overtime/table_printer.h"
#include "plugins/prefetch.h"
#include "store/zt_extensible_backing_store.h"

// A table whose columns may appear at any moment and whose widths are known only at its end.
//
// Rows are spooled as they are completed; nothing is aligned before flush. The spool is a flat stream of
// records and nothing else:
//
//     offset  width  content
//     0       4      length N of the text, unsigned, in native byte order
//     4       N      the text
//
// A row is one record per column that existed when the row was completed, in column order, and a record that
// holds one line feed. One thread at a time.
class alignas(64) BackingStoreWrapper {
public:
    // `title` is the table's title line, `defaultValue` the text of a cell that has no value. Throws what the
    // store's constructor throws.
    BackingStoreWrapper(const std::string& title, const std::string& defaultValue);

    // Appends a column and returns its index. Rows completed before show the default value in it.
    std::size_t addColumn(const std::string& title);

    // Puts a cell into the row being built, over an earlier one of the same column. The column gets at least
    // as wide as every text that was ever pushed to it. Returns 0, or 1 if there is no such column.
    std::int32_t pushCell(std::string_view value, std::uint16_t column) {
        if (column >= m_pendingRow.columnCount()) return refuseCell_i(column);
        m_pendingRow.set(column, value);
        return 0;
    }

    // Does nothing and returns 0.
    std::int32_t pushLine(const std::string& text);

    // Spools the row with default values where it has no cell, and begins the next. Once a row could not be
    // spooled, it and all later rows are lost, and isComplete is false.
    void rowComplete();

    // Prints the table to `file`, which stays the caller's: an empty line if `leadingNewline`, the title, the
    // column titles, the rows, an empty line. `delimiter` and a blank part the columns. Returns 0, or 1 if
    // there is no file or no memory. Whether the file took everything must be asked of the file.
    std::int32_t flush(std::FILE* file, const std::string& delimiter, bool leadingNewline);

    // Has the processor fetch what a row needs, in stages: this object; what it points to; and the place that
    // the row goes to.
    PREFETCHES void fetch(std::size_t stage) const {
        if (stage == 0) {
            prefetch(this, CACHE_LINE);
        } else if (stage == 1) {
            m_pendingRow.fetch();
            m_store->fetch();
        } else {
            m_store->fetchPlace();
        }
    }

    // False once rows have been lost or a table could not be printed to its end.
    bool isComplete() const { return m_isComplete; }

    // The errno of the first write to the file of flush that failed, or 0.
    int writeError() const { return m_writeError; }

private:
    std::int32_t refuseCell_i(std::uint16_t column) const;
    char* putRow_i(char* out);
    void spool_i(const char* row, std::uint64_t length);
    void logRow_i() const;
    std::int32_t printRows_i(overtime::TablePrinter& printer, int reason);
    std::uint64_t printRecords_i(overtime::TablePrinter& printer, const char* chunk,
                                 std::uint64_t length) const;

    // What every row needs, in one line of the cache.
    std::unique_ptr<pwr::ZTExtensibleBackingStore> m_store;
    overtime::PendingRow m_pendingRow;
    std::uint64_t m_spooledSize;  // bytes of the store that are whole rows
    std::uint32_t m_defaultValueLength;
    bool m_isComplete;

    std::string m_title;
    std::string m_defaultValue;
    std::vector<std::string> m_columnTitles;
    std::vector<std::uint64_t> m_columnWidths;  // as printed
    std::vector<char> m_record;                 // a row as it is spooled, if it has to be copied
    int m_writeError;                           // errno of the first write to flush's file that failed, or 0
};
