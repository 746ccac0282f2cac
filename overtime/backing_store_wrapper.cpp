#include "overtime/backing_store_wrapper.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "plugins/log.h"
#include "plugins/memory_block.h"
#include "plugins/packing.h"
#include "pwr/plugin_environment.h"

using namespace overtime;

namespace {

constexpr std::string_view ROW_COMPLETE_TOKEN = "\n";
constexpr std::size_t ROWS_SIZE = 1024;
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
    const auto recordSize = spooled_text::lengthAt(part) + LENGTH_SIZE;
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

// How many of the first `length` bytes of some rows are whole rows.
std::uint64_t wholeRowsOf(const char* rows, std::uint64_t length) {
    std::uint64_t whole = 0;
    spooled_text::takeWhole({rows, length}, [&](std::string_view text) {
        if (endsRow(text)) whole = static_cast<std::uint64_t>(text.data() + text.size() - rows);
    });
    return whole;
}

}  // namespace

BackingStoreWrapper::BackingStoreWrapper(const std::string& title, const std::string& defaultValue,
                                         std::pmr::memory_resource* memory)
    : m_isScattered(false),
      m_isComplete(true),
      m_columnWidths(memory),
      m_rows(memory),
      m_store(std::make_unique<pwr::ZTExtensibleBackingStore>(pwr::ZTExtensibleBackingStore::WINDOW_LIMIT)),
      m_spooledSize(0),
      m_title(title),
      m_defaultValue(defaultValue),
      m_writeError(0) {}

std::size_t BackingStoreWrapper::addColumn(const std::string& title) {
    m_columnWidths.push_back(title.size());
    try {
        m_columnTitles.push_back(title);
    } catch (...) {
        m_columnWidths.pop_back();
        throw;
    }
    LOG_INFO_TAG(TEXT_WRITER_TAG, "Column#%zu width=%zu\n", m_columnTitles.size(), title.size());
    return m_columnTitles.size() - 1;
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

// Pushes what is not simply the next cell of a row with room for it.
void BackingStoreWrapper::pushElsewhere_i(std::string_view value, std::size_t column) {
    if (!m_isScattered && column >= m_row.count()) {
        while (m_row.count() < column) append_i(m_defaultValue);
        append_i(value);
        return;
    }
    if (!m_isScattered && m_row.replace(column, value)) return;
    if (!m_isScattered) scatter_i();
    m_scattered.set(column, value);
}

void BackingStoreWrapper::append_i(std::string_view value) {
    if (!m_row.hasRoomFor(value.size())) makeRoom_i(value.size());
    m_row.append(value);
}

// Gives the row room for a text of `textSize` bytes: that of the rows before it, or more.
void BackingStoreWrapper::makeRoom_i(std::size_t textSize) {
    spoolRows_i();
    if (m_row.hasRoomFor(textSize)) return;
    const std::size_t needed = m_row.size() + LENGTH_SIZE + textSize + PendingRow::END_SIZE;
    std::pmr::vector<char> larger(std::max(2 * needed, ROWS_SIZE), m_rows.get_allocator());
    packing::putBytes(larger.data(), m_row.begin(), m_row.size());
    m_rows.swap(larger);
    m_row.moved(m_rows.data(), m_rows.data() + m_rows.size());
}

// Takes the row apart, for cells out of their order.
void BackingStoreWrapper::scatter_i() {
    m_scattered.clear();
    const char* record = m_row.begin();
    for (std::size_t column = 0; column < m_row.count(); ++column) {
        const std::string_view text = spooled_text::textAt(record);
        m_scattered.set(column, text);
        record = text.data() + text.size();
    }
    m_isScattered = true;
}

void BackingStoreWrapper::gather_i() {
    m_row.restart(m_row.begin());
    for (std::size_t column = 0; column < m_columnWidths.size(); ++column)
        append_i(m_scattered.get(column, m_defaultValue));
    m_isScattered = false;
}

void BackingStoreWrapper::rowComplete() {
    if (m_isScattered) gather_i();
    while (m_row.count() < m_columnWidths.size()) append_i(m_defaultValue);
    if (m_row.count() == 0) makeRoom_i(0);  // without columns, nothing has made room for the token
    if (mayLog()) logRow_i();
    char* const end = putRecord(m_row.end(), ROW_COMPLETE_TOKEN);
    m_row.restart(end);
}

// Gives the store the rows before the one that is being built, which takes their place.
void BackingStoreWrapper::spoolRows_i() {
    const auto length = static_cast<std::size_t>(m_row.begin() - m_rows.data());
    if (length == 0) return;
    if (m_isComplete) spool_i(m_rows.data(), length);
    std::memmove(m_rows.data(), m_row.begin(), m_row.size());
    m_row.moved(m_rows.data(), m_rows.data() + m_rows.size());
}

void BackingStoreWrapper::spool_i(const char* rows, std::size_t length) {
    if (m_store->write(rows, length) == static_cast<std::int64_t>(length)) {
        m_spooledSize += length;
        return;
    }
    const int reason = errno;
    m_isComplete = false;
    m_spooledSize += wholeRowsOf(rows, m_store->size() - m_spooledSize);
    LOG_ERROR("Could not spool the rows of \"%s\" to %s: %s\n", firstLineOf(m_title).c_str(),
              m_store->getPath().c_str(), std::strerror(reason));
}

void BackingStoreWrapper::logRow_i() const {
    const char* record = m_row.begin();
    while (record != m_row.end()) {
        const std::string_view text = spooled_text::textAt(record);
        LOG_INFO_TAG(TEXT_WRITER_TAG, "Wrote %d\n", static_cast<int>(text.size()));
        LOG_INFO_TAG(TEXT_WRITER_TAG, "Wrote %s\n", std::string(text).c_str());
        record = text.data() + text.size();
    }
    LOG_INFO_TAG(TEXT_WRITER_TAG, "Wrote the row complete token\n");
}

std::int32_t BackingStoreWrapper::flush(std::FILE* file, const std::string& delimiter, bool leadingNewline) {
    if (file == nullptr) {
        LOG_WARNING_TAG(TEXT_WRITER_TAG, "Please provide a valid output file to write\n");
        return 1;
    }
    spoolRows_i();
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
    const std::size_t printed = isShown ? 0 : printer.records(chunk, length);
    return printed + spooled_text::takeWhole({chunk + printed, length - printed}, [&](std::string_view text) {
               if (isShown) LOG_INFO_TAG(TEXT_WRITER_TAG, "Read %s\n", std::string(text).c_str());
               printer.record(text);
           });
}
