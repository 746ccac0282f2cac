#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "plugins/memory_block.h"

class CellPrinter;

// Reads temporary column files and prints their cells. One buffer serves all files. What it holds of a cell
// that goes on after its end is carried to its front; when a cell does not fit at all, the buffer doubles
// and the cell is read again.
class CellReader {
public:
    enum class Result {
        Complete,     // every cell of the file was printed
        Incomplete,   // the rest of the file could not be read, or its last cell is torn
        OutOfMemory,  // the buffer could not grow
    };

    // Allocates the buffer; logs a warning if that fails.
    CellReader();

    // False if there is no buffer; the reader is of no use then.
    bool isReady() const { return m_buffer != nullptr; }

    // Prints all cells of `file`, which is open for reading; `path` names it in log lines.
    Result replay(std::FILE* file, const std::string& path, CellPrinter& printer);

    // The errno value of what has ended a replay early.
    int error() const { return m_error; }

private:
    std::size_t printWholeCells_i(std::size_t count, CellPrinter& printer) const;
    Result stepBack_i(std::FILE* file, std::size_t position, std::size_t count);
    Result readAgain_i(std::FILE* file, long offset);

    Result endEarly_i(Result result, int error);

    std::size_t m_size;
    std::size_t m_carried = 0;  // bytes at the buffer's front that are not to be read again
    int m_error = 0;
    MemoryBlock m_buffer;
};
