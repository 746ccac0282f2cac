#include "overtime/backing_store_wrapper.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "plugins/log.h"
#include "plugins/memory_block.h"
#include "plugins/packing.h"
#include "pwr/plugin_environment.h"

using overtime::TablePrinter;

namespace {

constexpr std::string_view ROW_COMPLETE_TOKEN = "\n";
constexpr std::uint64_t LENGTH_SIZE = sizeof(std::uint32_t);
constexpr std::uint64_t SMALLEST_CHUNK = 4096;
constexpr std::uint64_t LARGEST_CHUNK = 1048576;

// False if no line can show: the quick part of isLogged, for what happens with every row.
bool mayLog() {
    const PluginEnvironment& environment = *g_pluginEnvironment;
    return environment.m_logLevel >= static_cast<std::int32_t>(LogLevel::Info) ||
           !environment.m_conditionalTags.empty();
}

std::string firstLineOf(const std::string& text) {
    return text.substr(0, text.find('\n'));
}

// Moves the store back to the record of which `part`, the last `rest` of the `length` bytes just read, is the
// beginning, and makes the chunk larger if the record can't fit. Returns false if there is no memory for
// that.
bool returnToRecord(pwr::ZTExtensibleBackingStore& store, MemoryBlock& chunk, std::uint64_t& size,
                    std::uint64_t length, const char* part, std::uint64_t rest) {
    if (rest < LENGTH_SIZE) {
        LOG_INFO_TAG(TEXT_WRITER_TAG, "\n");
        store.rewind(rest);
        LOG_INFO_TAG(TEXT_WRITER_TAG, "Rewinding store by %lld bytes to read next complete string\n",
                     static_cast<long long>(rest));
        return true;
    }
    LOG_INFO_TAG(TEXT_WRITER_TAG, "Rewinding store by %lld bytes to read complete string\n",
                 static_cast<long long>(rest));
    const auto recordSize = packing::get<std::uint32_t>(part) + LENGTH_SIZE;
    store.rewind(rest);
    if (recordSize <= length) return true;
    LOG_INFO_TAG(TEXT_WRITER_TAG, "Doubling buffer size to %zu bytes to get the next complete string\n",
                 static_cast<std::size_t>(size));
    size *= 2;
    if (resizeBlock(chunk, size)) return true;
    LOG_WARNING_TAG(TEXT_WRITER_TAG, "Failed to allocate buffer of size %zu bytes\n",
                    static_cast<std::size_t>(size));
    return false;
}

// A cell that is exactly the token ends its row, too.
bool isTokenAt(const char* text, std::uint32_t length) {
    return length == ROW_COMPLETE_TOKEN.size() && *text == ROW_COMPLETE_TOKEN.front();
}

}  // namespace

BackingStoreWrapper::BackingStoreWrapper(const std::string& title, const std::string& defaultValue)
    : m_store(std::make_unique<pwr::ZTExtensibleBackingStore>(pwr::ZTExtensibleBackingStore::WINDOW_LIMIT)),
      m_spooledSize(0),
      m_defaultValueLength(static_cast<std::uint32_t>(defaultValue.size())),
      m_isComplete(true),
      m_title(title),
      m_defaultValue(defaultValue),
      m_writeError(0) {}

std::size_t BackingStoreWrapper::addColumn(const std::string& title) {
    // The titles come last: they count the columns if memory runs out half-way.
    const std::size_t index = m_columnTitles.size();
    m_columnWidths.resize(index + 1);
    if (m_pendingRow.columnCount() == index) m_pendingRow.addColumn(title.size());
    m_columnTitles.push_back(title);
    LOG_INFO_TAG(TEXT_WRITER_TAG, "Column#%zu width=%zu\n", m_columnTitles.size(), title.size());
    return index;
}

std::int32_t BackingStoreWrapper::refuseCell_i(std::uint16_t column) const {
    LOG_WARNING_TAG(TEXT_WRITER_TAG,
                    "Trying to set data for a column %u before adding it to the store.Columns added=%zu\n",
                    static_cast<unsigned int>(column), m_columnTitles.size());
    return 1;
}

std::int32_t BackingStoreWrapper::pushLine(const std::string&) {
    return 0;
}

void BackingStoreWrapper::rowComplete() {
    if (mayLog()) logRow_i();
    const std::size_t bound = m_pendingRow.bound() + m_pendingRow.columnCount() * m_defaultValueLength +
                              LENGTH_SIZE + ROW_COMPLETE_TOKEN.size();
    if (char* const place = m_isComplete ? m_store->placeToAppend(bound) : nullptr) {
        char* const end = putRow_i(place);
        const auto length = static_cast<std::uint64_t>(end - place);
        // The place of the next row, which the other tables' rows would drive out of the nearer caches.
        prefetch(end, length + 1);
        m_store->appended(length);
        m_spooledSize += length;
        return;
    }
    if (m_record.size() < bound) m_record.resize(bound * 2);
    const auto length = static_cast<std::uint64_t>(putRow_i(m_record.data()) - m_record.data());
    if (m_isComplete) spool_i(m_record.data(), length);
}

// Writes the pending row and its token, and clears the row. Returns the place behind them.
char* BackingStoreWrapper::putRow_i(char* out) {
    out = m_pendingRow.spool(out, m_defaultValue);
    out = packing::put(out, static_cast<std::uint32_t>(ROW_COMPLETE_TOKEN.size()));
    return packing::putBytes(out, ROW_COMPLETE_TOKEN.data(), ROW_COMPLETE_TOKEN.size());
}

void BackingStoreWrapper::spool_i(const char* row, std::uint64_t length) {
    if (m_store->write(row, length) == static_cast<std::int64_t>(length)) {
        m_spooledSize += length;
        return;
    }
    const int reason = errno;
    m_isComplete = false;
    LOG_ERROR("Could not spool the rows of \"%s\" to %s: %s\n", firstLineOf(m_title).c_str(),
              m_store->getPath().c_str(), std::strerror(reason));
}

void BackingStoreWrapper::logRow_i() const {
    for (std::size_t column = 0; column < m_columnTitles.size(); ++column) {
        const std::string text(m_pendingRow.get(column, m_defaultValue));
        LOG_INFO_TAG(TEXT_WRITER_TAG, "Wrote %d\n", static_cast<int>(text.size()));
        LOG_INFO_TAG(TEXT_WRITER_TAG, "Wrote %s\n", text.c_str());
    }
    LOG_INFO_TAG(TEXT_WRITER_TAG, "Wrote the row complete token\n");
}

std::int32_t BackingStoreWrapper::flush(std::FILE* file, const std::string& delimiter, bool leadingNewline) {
    if (file == nullptr) {
        LOG_WARNING_TAG(TEXT_WRITER_TAG, "Please provide a valid output file to write\n");
        return 1;
    }
    m_columnWidths.resize(std::min(m_columnWidths.size(), m_pendingRow.columnCount()));
    for (std::size_t i = 0; i < m_columnWidths.size(); ++i) m_columnWidths[i] = m_pendingRow.width(i);
    TablePrinter printer(file, m_columnWidths, delimiter, m_defaultValue, m_writeError);
    if (leadingNewline) printer.text("\n");
    printer.text(m_title);
    printer.text("\n");
    printer.header(m_columnTitles);
    for (const std::uint64_t width : m_columnWidths) {
        LOG_INFO_TAG(TEXT_WRITER_TAG, "Column width=%llu\n", static_cast<unsigned long long>(width));
    }
    // What could not be spilled before fails here, and only this first time with its reason.
    errno = 0;
    m_store->resetForRead();
    return printRows_i(printer, errno);
}

// Reads the spool in chunks, in place where the store's window holds one. A record that is cut by a chunk's
// end is read again by the next chunk. `reason` is the errno of what has failed before, or 0.
std::int32_t BackingStoreWrapper::printRows_i(TablePrinter& printer, int reason) {
    std::uint64_t size = std::min(m_store->size(), LARGEST_CHUNK);
    if (size <= SMALLEST_CHUNK) size = SMALLEST_CHUNK;
    MemoryBlock chunk = makeBlock(size);
    if (chunk == nullptr) {
        LOG_WARNING_TAG(TEXT_WRITER_TAG, "Failed to allocate buffer of size %llu\n",
                        static_cast<unsigned long long>(size));
        m_isComplete = false;
        return 1;
    }
    std::int32_t status = 0;
    std::uint64_t unread = m_spooledSize;
    while (true) {
        std::uint64_t length = std::min(size, unread);
        const char* records = m_store->readInPlace(length);
        if (records == nullptr) {
            errno = 0;
            const std::int64_t result = m_store->read(chunk.get(), length);
            if (result < 0) {
                if (reason == 0) reason = errno;
                break;
            }
            length = static_cast<std::uint64_t>(result);
            records = chunk.get();
        }
        if (length == 0) break;
        LOG_INFO_TAG(TEXT_WRITER_TAG, "Read %lld bytes from store\n", static_cast<long long>(length));
        const std::uint64_t printed = printRecords_i(printer, records, length);
        const std::uint64_t rest = length - printed;
        unread -= printed;
        if (rest == 0) continue;
        if (rest == unread) break;  // no chunk could complete this record
        if (!returnToRecord(*m_store, chunk, size, length, records + printed, rest)) {
            status = 1;
            reason = ENOMEM;
            break;
        }
    }
    printer.text("\n");
    if (unread != 0) {
        m_isComplete = false;
        LOG_ERROR("Could not read all rows of \"%s\" from %s: %s\n", firstLineOf(m_title).c_str(),
                  m_store->getPath().c_str(), std::strerror(reason != 0 ? reason : EIO));
    }
    return status;
}

// Prints the whole records of a chunk and returns their length.
std::uint64_t BackingStoreWrapper::printRecords_i(TablePrinter& printer, const char* chunk,
                                                  std::uint64_t length) const {
    const bool isShown = isLogged(LogLevel::Info, TEXT_WRITER_TAG);
    std::uint64_t offset = 0;
    while (length - offset >= LENGTH_SIZE) {
        const auto textLength = packing::get<std::uint32_t>(chunk + offset);
        if (length - offset - LENGTH_SIZE < textLength) break;
        const char* const text = chunk + offset + LENGTH_SIZE;
        offset += LENGTH_SIZE + textLength;
        if (isShown) LOG_INFO_TAG(TEXT_WRITER_TAG, "Read %s\n", std::string(text, textLength).c_str());
        if (isTokenAt(text, textLength)) {
            printer.endRow();
        } else if (length - offset >= TablePrinter::SLACK) {
            printer.cell(text, textLength);
        } else {
            printer.cellWithoutSlack({text, textLength});
        }
    }
    return offset;
}
