#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <memory_resource>
#include <string>
#include <string_view>
#include <vector>

#include "overtime/pending_row.h"
#include "overtime/table_printer.h"
#include "plugins/prefetch.h"
#include "store/zt_extensible_backing_store.h"

// A table whose columns may appear at any moment and whose widths are known only at its end.
//
// Completed rows are spooled; nothing is aligned before flush. The spool is a flat stream of
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
    // `title` is the table's title line, `defaultValue` the text of a cell that has no value. What rows need
    // comes from `memory`, which must outlive this. Throws what the store's constructor throws.
    BackingStoreWrapper(const std::string& title, const std::string& defaultValue,
                        std::pmr::memory_resource* memory = std::pmr::get_default_resource());

    // Appends a column and returns its index. Rows completed before show the default value in it.
    std::size_t addColumn(const std::string& title);

    std::size_t columnCount() const { return m_columnWidths.size(); }

    // Takes back all columns, as long as there is no cell.
    void removeColumns() {
        m_columnWidths.clear();
        m_columnTitles.clear();
    }

    // Puts a cell into the row being built, over an earlier one of the same column. The column gets at least
    // as wide as every text that was ever pushed to it. Returns 0, or 1 if there is no such column. Cells
    // cost least in the order of their columns.
    std::int32_t pushCell(std::string_view value, std::uint16_t column) {
        if (column >= m_columnWidths.size()) return refuseCell_i(column);
        widen_i(column, value);
        if (column != m_row.count() || m_isScattered || !m_row.hasRoomFor(value.size())) {
            pushElsewhere_i(value, column);
        } else {
            m_row.append(value);
        }
        return 0;
    }

    // Puts the cells of the first two columns, as two calls of pushCell would.
    void pushStart(const overtime::RowStart& start) {
        if (m_columnWidths.size() < overtime::RowStart::CELLS || m_row.count() != 0 || m_isScattered ||
            !m_row.hasRoomFor(start.records().size())) {
            pushCell(start.first(), 0);
            pushCell(start.second(), 1);
            return;
        }
        widen_i(0, start.first());
        widen_i(1, start.second());
        m_row.append(start);
    }

    // Does nothing and returns 0.
    std::int32_t pushLine(const std::string& text);

    // Ends the row, with default values where it has no cell, and begins the next. Rows are spooled a few at
    // a time. Once one could not be spooled, it and all later rows are lost, and isComplete is false.
    void rowComplete();

    // Prints the table to `file`, which stays the caller's: an empty line if `leadingNewline`, the title, the
    // column titles, the rows, an empty line. `delimiter` and a blank part the columns. Returns 0, or 1 if
    // there is no file or no memory. Whether the file took everything must be asked of the file.
    std::int32_t flush(std::FILE* file, const std::string& delimiter, bool leadingNewline);

    // Have the processor fetch what a row needs of this object, and, once that is there, what it points to.
    PREFETCHES void fetch() const { prefetch(this, CACHE_LINE); }
    PREFETCHES void fetchRow() const {
        prefetch(m_columnWidths.data(), CACHE_LINE);
        prefetch(m_row.end(), 2 * CACHE_LINE);
    }

    // False once rows have been lost or a table could not be printed to its end.
    bool isComplete() const { return m_isComplete; }

    // The errno of the first write to the file of flush that failed, or 0.
    int writeError() const { return m_writeError; }

private:
    void widen_i(std::size_t column, std::string_view value) {
        if (value.size() > m_columnWidths[column]) m_columnWidths[column] = value.size();
    }
    std::int32_t refuseCell_i(std::uint16_t column) const;
    void pushElsewhere_i(std::string_view value, std::size_t column);
    void append_i(std::string_view value);
    void makeRoom_i(std::size_t textSize);
    void scatter_i();
    void gather_i();
    void spoolRows_i();
    void spool_i(const char* rows, std::size_t length);
    void logRow_i() const;
    std::int32_t printRows_i(overtime::TablePrinter& printer, int reason);
    std::uint64_t printRecords_i(overtime::TablePrinter& printer, const char* chunk,
                                 std::uint64_t length) const;

    // What every row needs, in one line of the cache.
    bool m_isScattered;  // the row is m_scattered instead
    bool m_isComplete;
    overtime::PendingRow m_row;                      // in m_rows
    std::pmr::vector<std::uint64_t> m_columnWidths;  // as printed

    std::pmr::vector<char> m_rows;  // the latest, which the store doesn't have yet
    overtime::ScatteredRow m_scattered;
    std::unique_ptr<pwr::ZTExtensibleBackingStore> m_store;
    std::uint64_t m_spooledSize;  // bytes of the store that are whole rows
    std::string m_title;
    std::string m_defaultValue;
    std::vector<std::string> m_columnTitles;
    int m_writeError;  // errno of the first write to flush's file that failed, or 0
};
