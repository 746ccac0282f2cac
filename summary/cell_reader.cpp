#include "summary/cell_reader.h"

#include <cerrno>
#include <cstring>
#include <string_view>

#include "plugins/log.h"
#include "plugins/spooled_text.h"
#include "summary/cell_printer.h"

namespace {

constexpr std::size_t FIRST_SIZE = 256;

}  // namespace

CellReader::CellReader() : m_size(FIRST_SIZE), m_buffer(makeBlock(FIRST_SIZE)) {
    if (m_buffer == nullptr)
        LOG_WARNING_TAG(TEXT_WRITER_TAG, "Failed to allocate buffer of size %zu\n", m_size);
}

CellReader::Result CellReader::replay(std::FILE* file, const std::string& path, CellPrinter& printer) {
    m_carried = 0;
    for (;;) {
        errno = 0;
        const std::size_t wanted = m_size - m_carried;
        const std::size_t got = std::fread(m_buffer.get() + m_carried, 1, wanted, file);
        if (got < wanted && std::ferror(file) != 0) {
            const int error = errno;
            LOG_WARNING_TAG(TEXT_WRITER_TAG, "Error reading file %s: %d\n", path.c_str(), error);
            return endEarly_i(Result::Incomplete, error);
        }
        const std::size_t count = m_carried + got;
        const std::size_t position = printWholeCells_i(count, printer);
        m_carried = 0;
        const bool isAtEnd = got < wanted;
        if (position == count) {
            if (isAtEnd) return Result::Complete;
            continue;
        }
        if (isAtEnd) return endEarly_i(Result::Incomplete, ENODATA);  // in the middle of a cell
        const Result result = stepBack_i(file, position, count);
        if (result != Result::Complete) return result;
    }
}

// Prints the cells that lie wholly in the first `count` bytes and returns the place after them.
std::size_t CellReader::printWholeCells_i(std::size_t count, CellPrinter& printer) const {
    return spooled_text::takeWhole({m_buffer.get(), count},
                                   [&](std::string_view text) { printer.printCell(text); });
}

// Goes back to the start of the cell at `position`, of which the `count` bytes in the buffer hold a part.
CellReader::Result CellReader::stepBack_i(std::FILE* file, std::size_t position, std::size_t count) {
    const long offset = static_cast<long>(position) - static_cast<long>(count);
    const std::size_t held = count - position;
    if (held < spooled_text::LENGTH_SIZE) {
        LOG_INFO("Rewinding file a by %d (%d %d)\n", static_cast<int>(offset), static_cast<int>(position),
                 static_cast<int>(count));
    } else {
        LOG_INFO("Rewinding file 2 a by %d (%d %d)\n", static_cast<int>(offset), static_cast<int>(position),
                 static_cast<int>(count));
        const std::size_t length = spooled_text::lengthAt(m_buffer.get() + position);
        if (spooled_text::LENGTH_SIZE + length > m_size) return readAgain_i(file, offset);
    }
    std::memmove(m_buffer.get(), m_buffer.get() + position, held);
    m_carried = held;
    return Result::Complete;
}

// Goes back in the file by `offset` and doubles the buffer.
CellReader::Result CellReader::readAgain_i(std::FILE* file, long offset) {
    if (std::fseek(file, offset, SEEK_CUR) != 0) {
        const int error = errno;
        LOG_WARNING("fseek failed\n");
        return endEarly_i(Result::Incomplete, error);
    }
    if (!resizeBlock(m_buffer, 2 * m_size)) {
        LOG_WARNING_TAG(TEXT_WRITER_TAG, "Failed to re-allocate buffer of size %zu\n", 2 * m_size);
        return endEarly_i(Result::OutOfMemory, ENOMEM);
    }
    m_size *= 2;
    return Result::Complete;
}

CellReader::Result CellReader::endEarly_i(Result result, int error) {
    m_error = error;
    return result;
}
