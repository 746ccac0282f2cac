#include "summary/autowriter_plugin.h"

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <set>
#include <string_view>
#include <utility>

#include "plugins/log.h"
#include "plugins/memory_guard.h"
#include "plugins/output_file.h"
#include "plugins/writer_plugin_capability.h"
#include "pwr/messages.h"
#include "pwr/system_metadata.h"
#include "pwr/table_message.h"
#include "pwr/utilities.h"

namespace {

const char* const OPTION_NAME = "auto";
const char* const FIRST_COLUMN = "Output_Name";
const char* const FILE_NAME = "Automation_Summary.csv";

// Tables whose title holds one of these say nothing about the result.
const char* const IGNORED_TITLES[] = {
    "Summary: Total Samples Received",
    "Summary: Counts",
    "Summary: Entry Counts",
    "Summary - Sampled: Total Samples Received",
};

// How many leading columns identify a row: `keys` of them, or all but `values`. The first match holds.
struct KeyRule {
    const char* title;
    std::size_t keys;
    std::size_t values;
};
const KeyRule KEY_RULES[] = {
    {"ACPI D-State Summary: Residency (Percentage and Time)", 4, 0},
    {"ACPI F-State Summary: Residency (Percentage and Time)", 4, 0},
    {"Summary: Average Rate and Total", 0, 2},
    {"Summary: Total", 0, 1},
};

bool contains(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

bool isIgnored(const std::string& title) {
    return std::any_of(std::begin(IGNORED_TITLES), std::end(IGNORED_TITLES),
                       [&](const char* part) { return contains(title, part); });
}

std::size_t keyColumnsOf(const std::string& title, std::size_t columns) {
    for (const KeyRule& rule : KEY_RULES) {
        if (!contains(title, rule.title)) continue;
        return rule.values != 0 ? columns - std::min(rule.values, columns) : std::min(rule.keys, columns);
    }
    return std::min<std::size_t>(1, columns);
}

std::string joined(const std::vector<std::string>& cells) {
    std::string line;
    for (const std::string& cell : cells) line.append(cell).push_back(',');
    return line;
}

constexpr int LOCK_ATTEMPTS = 1000;
constexpr unsigned int LOCK_PAUSE = 10000;  // microseconds

// Keeps other runs from appending until the file is closed. One that is stopped while it has the lock does
// not stop this one for ever.
void lock(std::FILE* file, const std::string& path) {
    for (int i = 0; i < LOCK_ATTEMPTS; ++i) {
        if (flock(fileno(file), LOCK_EX | LOCK_NB) == 0 || (errno != EWOULDBLOCK && errno != EINTR)) return;
        usleep(LOCK_PAUSE);
    }
    LOG_WARNING("Another run keeps %s locked\n", path.c_str());
}

// True if the last header line of the file is `header`.
bool endsUnderHeader(const std::string& path, const std::string& header) {
    const FilePtr file = openFile(path, "rb");
    if (file == nullptr) return false;
    bool present = false;
    char* line = nullptr;
    std::size_t size = 0;
    for (ssize_t length; (length = getline(&line, &size, file.get())) >= 0;) {
        std::string_view text(line, static_cast<std::size_t>(length));
        if (text.ends_with('\n')) text.remove_suffix(1);
        if (text.starts_with(FIRST_COLUMN)) present = text == header;
    }
    std::free(line);
    if (std::feof(file.get()) == 0) LOG_WARNING("Could not read all of %s\n", path.c_str());
    return present;
}

// Takes back the part of a line that a failed write has left behind: the next run's header or line would
// otherwise continue it. Leaves the file alone if somebody else has appended meanwhile.
void takeBack(std::FILE* file, off_t oldSize, std::size_t appended) {
    struct stat now;
    if (fstat(fileno(file), &now) != 0 || !S_ISREG(now.st_mode)) return;
    if (now.st_size <= oldSize || now.st_size > oldSize + static_cast<off_t>(appended)) return;
    // If this fails too, the partial line stays; the error that led here is reported in any case.
    [[maybe_unused]] const int status = ftruncate(fileno(file), oldSize);
}

// Appends the lines to the file in one write and closes it. Returns false after an error line if they did not
// get there.
bool appendLines(FilePtr file, const std::string& path, const std::string& lines) {
    struct stat before;
    const bool known = fstat(fileno(file.get()), &before) == 0;
    errno = 0;
    const bool written = std::fwrite(lines.data(), 1, lines.size(), file.get()) == lines.size() &&
                         std::fflush(file.get()) == 0;
    const int reason = errno;
    if (!written && known) takeBack(file.get(), before.st_size, lines.size());
    return finishFile(std::move(file), path, reason);
}

}  // namespace

AutoWriter::AutoWriter() : WriterPlugin("894d2fa0-61c8-11e7-9598-0800200c9a66") {
    addCapability(std::make_unique<pwr::WriterPluginCapability>(
                      std::set<pwr::TableClass>(), OPTION_NAME,
                      "Write summary data as single line to file Automation_Summary.csv", ".csv", false)
                      .release());
}

AutoWriter::~AutoWriter() = default;

std::int32_t AutoWriter::init(const std::string& outputName, bool) {
    return guardMemory(OPTION_NAME, 1, [&] {
        m_outputName = outputName;
        addColumn_i(FIRST_COLUMN, outputName);
        return 0;
    });
}

std::int32_t AutoWriter::fini() {
    return guardMemory(OPTION_NAME, 1, [&] { return appendToFile_i(); });
}

std::int32_t AutoWriter::writeMessage(const pwr::TableMessage& message) {
    return reportTableStatus_i(message);
}

std::int32_t AutoWriter::writeMessage(const pwr::SystemMessage& message) {
    return guardMemory(OPTION_NAME, 1, [&] {
        const pwr::SystemMetadata& metadata = *message.m_metadata;
        addColumn_i("Collection_Time", metadata.getCollectionStartTime());
        addColumn_i("Duration (sec)", pwr::toString<double>(metadata.getCollectionDurationSec()));
        return 0;
    });
}

std::int32_t AutoWriter::writeMessage(const pwr::MetricContainerInfoMessage& message) {
    return message.m_infoTable == nullptr ? 0 : reportTableStatus_i(*message.m_infoTable);
}

void AutoWriter::getColumnTitles(const pwr::TableMessage& message, std::deque<std::string>& titles) const {
    std::size_t column = titles.size() + message.getSharedHandleCount();
    WriterPlugin::getColumnTitles(message, titles);
    for (auto entity = message.entitiesBegin(); entity != message.entitiesEnd(); ++entity) {
        const std::string& fieldName = (*entity)->getFieldName();
        for (std::size_t i = 0; i < message.getHandleCount(); ++i, ++column)
            if (titles[column].find(fieldName) == std::string::npos)
                titles[column].insert(0, fieldName + "_");
    }
}

std::int32_t AutoWriter::reportTableStatus_i(const pwr::TableMessage& table) {
    if (guardMemory(OPTION_NAME, 1, [&] { return writeMessage_i(table); }) == 0) return 0;
    LOG_INFO("Error in TableMessage %s\n", table.getTitle().c_str());
    return 1;
}

std::int32_t AutoWriter::writeMessage_i(const pwr::TableMessage& table) {
    if (isIgnored(table.getTitle())) return 0;
    LOG_DEBUG("AutoWriter::writeMessage(%s)\n", table.getTitle().c_str());
    switch (table.getTableMessageType()) {
        case pwr::TABLE_ANNOUNCEMENT:
            announce_i(table);
            return 0;
        case pwr::TABLE_ROW:
            return addRow_i(table);
        default:
            return 0;
    }
}

void AutoWriter::announce_i(const pwr::TableMessage& table) {
    m_currentTitles.clear();
    getColumnTitles(table, m_currentTitles);
    for (const std::string& title : m_currentTitles) LOG_DEBUG(" \t column = (%s)\n", title.c_str());
}

std::int32_t AutoWriter::addRow_i(const pwr::TableMessage& table) {
    std::deque<std::string> values;
    getRowValues(table, values);
    for (const std::string& value : values) LOG_DEBUG(" \t value = (%s)\n", value.c_str());
    if (values.size() != m_currentTitles.size()) return 1;

    const std::size_t keyColumns = keyColumnsOf(table.getTitle(), values.size());
    const std::string key = keyOfRow_i(values, keyColumns);
    if (key.starts_with("Total_")) return 0;
    const std::string prefix = table.getTitle() + "_" + key + "_";
    for (std::size_t i = keyColumns; i < values.size(); ++i)
        addColumn_i(prefix + m_currentTitles[i], values[i]);
    return 0;
}

std::string AutoWriter::keyOfRow_i(const std::deque<std::string>& values, std::size_t keyColumns) const {
    std::string key;
    for (std::size_t i = 0; i < keyColumns; ++i) {
        if (!key.empty()) key.push_back('_');
        if (!m_currentTitles[i].empty()) key.append(m_currentTitles[i]).push_back('_');
        key.append(values[i]);
    }
    return key;
}

void AutoWriter::addColumn_i(const std::string& name, const std::string& value) {
    m_columnNames.push_back(name);
    try {
        m_rowValues.push_back(value);
    } catch (const std::bad_alloc&) {
        m_columnNames.pop_back();
        throw;
    }
}

std::int32_t AutoWriter::appendToFile_i() const {
    const std::string path = path_i();
    const std::string header = joined(m_columnNames);
    const std::string values = joined(m_rowValues) + "\n";
    std::string lines = header + "\n" + values;
    FilePtr file = openFile(path, "ab");
    if (file == nullptr) {
        LOG_ERROR("Could not open automation summary file.\n");
        return 1;
    }
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    struct stat status;
    // What is no plain file has nothing to read, and may wait for somebody.
    const bool isPlain = fstat(fileno(file.get()), &status) == 0 && S_ISREG(status.st_mode);
    if (isPlain) lock(file.get(), path);
    if (isPlain && endsUnderHeader(path, header)) lines = values;
    return appendLines(std::move(file), path, lines) ? 0 : 1;
}

std::string AutoWriter::path_i() const {
    // The file lies beside an output name with backslashes; a forward slash makes no directory.
    const std::size_t backslash = m_outputName.rfind('\\');
    const std::size_t length = backslash == std::string::npos ? 0 : backslash + 1;
    return m_outputName.substr(0, length) + FILE_NAME;
}
