#include "summary/temp_file_manager.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstddef>
#include <limits>
#include <utility>

#include "plugins/log.h"
#include "plugins/temporary_name.h"
#include "pwr/entity_handle.h"
#include "pwr/plugin_environment.h"
#include "pwr/utilities.h"
#include "summary/cell_printer.h"
#include "summary/cell_reader.h"

namespace {

constexpr std::size_t NAME_SIZE = 32;
constexpr std::size_t ERROR_TEXT_SIZE = 256;
constexpr int CREATION_ATTEMPTS = 10;

// Tags of what is told once per process.
enum OnceTag { TOO_MANY_FILES_ONCE = 1000, NO_SPACE_ONCE = 1001, READ_ONLY_ONCE = 1002 };

const char* const TOO_MANY_FILES =
    "Warning: Could not post process metric data: Too many open file handles. Results may be incomplete for "
    "some metrics. Try post processing results with only one -r option at a time. If the problem persists; "
    "try collecting fewer metrics.\n";
const char* const NO_SPACE = "Warning: Could not generate result files. No space is left on the disk.\n";
const char* const READ_ONLY = "Warning: Could not generate result files. The file system is not writeable.\n";

// Users know these lines without a level's word, but they belong to the error log.
void logErrorAsIs(const char* line) {
    if (isLogged(LogLevel::Error))
        g_pluginEnvironment->m_errorLog->log(static_cast<std::int32_t>(LogLevel::Error), line);
}

void reportNoSpace() {
    pwr::executeOnce<NO_SPACE_ONCE>([] { logErrorAsIs(NO_SPACE); });
}

void reportCreationFailure(const std::string& path, int error) {
    switch (error) {
        case EMFILE:
            pwr::executeOnce<TOO_MANY_FILES_ONCE>([] { logErrorAsIs(TOO_MANY_FILES); });
            return;
        case ENOSPC:
            reportNoSpace();
            return;
        case EROFS:
            pwr::executeOnce<READ_ONLY_ONCE>([] { logErrorAsIs(READ_ONLY); });
            return;
        default:
            char text[ERROR_TEXT_SIZE];
            LOG_ERROR("Cannot create temp output file: %s. error: errnum=%d: %s\n", path.c_str(), error,
                      pwr::pw_strerror(error, text, sizeof text));
    }
}

// Reports a table that is not whole. `what` is what could not be done to its file.
void reportLoss(const char* what, const std::string& path, const std::string& title, int error) {
    char text[ERROR_TEXT_SIZE];
    LOG_ERROR("Cannot %s temp output file: %s, table: %s, error: errnum=%d: %s\n", what, path.c_str(),
              title.c_str(), error, pwr::pw_strerror(error, text, sizeof text));
}

void removeFile(const std::string& path) {
    if (unlink(path.c_str()) == 0 || errno == ENOENT) return;
    const int error = errno;
    char text[ERROR_TEXT_SIZE];
    LOG_ERROR("Cannot remove temp output file: %s, error: errnum=%d: %s\n", path.c_str(), error,
              pwr::pw_strerror(error, text, sizeof text));
}

void closeAndRemove(TempFile& file) {
    if (file.file == nullptr) return;
    const bool isTaken = temporary_name::isTaken(fileno(file.file.get()), file.path.c_str());
    file.file.reset();
    if (!isTaken) removeFile(file.path);
}

// The file is new, so that nobody else has it open.
FilePtr createFile(const std::string& path) {
    for (int i = 0; i < CREATION_ATTEMPTS; ++i) {
        // Where the name cannot be freed, opening says why.
        temporary_name::vacate(path.c_str());
        FilePtr file = openFile(path, "wb");
        // Another run may have made it in between.
        if (file == nullptr || temporary_name::claim(fileno(file.get()))) return file;
    }
    errno = EEXIST;
    return nullptr;
}

}  // namespace

std::uint32_t TempFileManager::s_nextTempFileId = 0;

TempFileManager::TempFileManager(int columnCount)
    : m_columnWidths(static_cast<std::size_t>(std::max(columnCount, 0))), m_firstRow(1), m_console(false) {
    char name[NAME_SIZE];
    pw_snprintf(name, sizeof name, "tmp___%d", static_cast<int>(s_nextTempFileId++));
    m_baseName = name;
    m_base.path = m_baseName + ".tmp";
    m_base.file = createFile(m_base.path);
    if (m_base.file == nullptr) reportCreationFailure(m_base.path, errno);
}

TempFileManager::~TempFileManager() {
    closeAndRemove(m_base);
    for (auto& [id, file] : m_entityFiles) closeAndRemove(file);
}

int TempFileManager::pushString(const pwr::EntityHandle* entity, const std::string& text, int column) {
    TempFile* const target = entity == nullptr ? &m_base : entityFile_i(*entity);
    if (target == nullptr || target->file == nullptr || m_incomplete) return 1;
    if (!m_replayed && !append_i(*target, text)) return 1;
    const auto index = static_cast<std::size_t>(column);
    if (index < m_columnWidths.size())
        m_columnWidths[index] = std::max(m_columnWidths[index], static_cast<std::int32_t>(text.size()));
    return 0;
}

int TempFileManager::flush(std::FILE* output, const std::string& delimiter) {
    if (output == nullptr) return 1;
    CellReader reader;
    if (!reader.isReady()) {
        reportLoss("read", m_base.path, m_title, ENOMEM);
        return 1;
    }
    CellPrinter printer(output, m_console, m_columnWidths, delimiter);
    printer.printLine(m_title);

    m_replayed = true;
    const bool complete = replayFiles_i(reader, printer) && !m_incomplete;
    if (!complete) printer.endRow();
    printer.printLine("");
    return printer.finish() && complete ? 0 : 1;
}

TempFile* TempFileManager::entityFile_i(const pwr::EntityHandle& entity) {
    const unsigned long id = entity.getId();
    const auto found = m_entityFiles.find(id);
    if (found != m_entityFiles.end()) return &found->second;

    char suffix[NAME_SIZE];
    pw_snprintf(suffix, sizeof suffix, "___%llu.tmp", static_cast<unsigned long long>(id));
    TempFile file{nullptr, m_baseName + suffix};
    file.file = createFile(file.path);
    if (file.file == nullptr) {
        const int error = errno;
        char text[ERROR_TEXT_SIZE];
        LOG_ERROR("Cannot open temp output file: %s, error: errnum=%d: %s\n", file.path.c_str(), error,
                  pwr::pw_strerror(error, text, sizeof text));
        return nullptr;
    }
    return &m_entityFiles.emplace(id, std::move(file)).first->second;
}

bool TempFileManager::append_i(TempFile& target, const std::string& text) {
    std::FILE* const file = target.file.get();
    const auto length = static_cast<std::uint32_t>(text.size());
    errno = EFBIG;  // of a text that no cell can hold
    if (text.size() <= std::numeric_limits<std::int32_t>::max() &&
        std::fwrite(&length, sizeof length, 1, file) == 1 &&
        std::fwrite(text.data(), 1, text.size(), file) == text.size() && std::fflush(file) == 0) {
        target.size += sizeof length + text.size();
        return true;
    }
    const int error = errno;
    m_incomplete = true;
    if (error == ENOSPC) reportNoSpace();
    reportLoss("write", target.path, m_title, error);
    return false;
}

// Prints the cells of all files. Returns false if some of them could not be printed.
bool TempFileManager::replayFiles_i(CellReader& reader, CellPrinter& printer) {
    std::vector<TempFile*> files{&m_base};
    for (auto& [id, file] : m_entityFiles) files.push_back(&file);

    bool complete = true;
    for (TempFile* file : files) {
        if (!reopen_i(*file)) {
            LOG_WARNING_TAG(TEXT_WRITER_TAG, "Unable to open temp file: %s\n", file->path.c_str());
            continue;
        }
        const CellReader::Result result = reader.replay(file->file.get(), file->path, printer);
        const bool isCut = std::ftell(file->file.get()) < static_cast<long>(file->size);
        if (result == CellReader::Result::Complete && !isCut) continue;
        complete = false;
        const int error = result == CellReader::Result::Complete ? ENODATA : reader.error();
        if (!m_incomplete) reportLoss("read", file->path, m_title, error);
        if (result == CellReader::Result::OutOfMemory) break;
    }
    return complete;
}

// Opens a file of ours for reading. One that was never created stays closed, whatever lies at its path.
bool TempFileManager::reopen_i(TempFile& source) {
    if (source.file == nullptr) return false;
    struct stat written {};
    fstat(fileno(source.file.get()), &written);
    // Closing alone does not, while a program that the host has started holds the file open, too.
    temporary_name::release(fileno(source.file.get()));
    if (std::fclose(source.file.release()) != 0) {
        m_incomplete = true;
        reportLoss("write", source.path, m_title, errno);
    }
    source.file = openFile(source.path, "rb");
    if (source.file == nullptr) {
        reportLoss("read", source.path, m_title, errno);
        // What cannot be read again is of no use to anybody.
        removeFile(source.path);
        return false;
    }
    struct stat found {};
    const bool isSame = fstat(fileno(source.file.get()), &found) == 0 && found.st_dev == written.st_dev &&
                        found.st_ino == written.st_ino;
    const bool isOurs = isSame && temporary_name::claim(fileno(source.file.get()));
    // After a failed write a part of a cell may follow.
    if (isOurs && (m_incomplete || static_cast<std::uint64_t>(found.st_size) <= source.size)) return true;
    LOG_ERROR("Cannot read temp output file: %s, table: %s, error: another run has written it\n",
              source.path.c_str(), m_title.c_str());
    source.file.reset();
    if (isOurs) removeFile(source.path);
    return false;
}
