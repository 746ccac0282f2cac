#include "overtime/phmwriter_text_plugin.h"

#include <cctype>
#include <set>

#include "plugins/log.h"
#include "plugins/memory_guard.h"
#include "plugins/writer_plugin_capability.h"

namespace {

constexpr const char* GROUP_PREFIX = "pmt-";

}  // namespace

PhmTextWriter::PhmTextWriter() : IntWriterV2("9d2aa443-e197-4628-9ed7-f7772a50828e", "_phm.csv") {
    auto capability = std::make_unique<pwr::WriterPluginCapability>(
        std::set<pwr::TableClass>{}, "phm-csv", "Write over-time data to *_phm.csv file.", ".csv", false);
    capability->m_flags |= pwr::PluginCapability::FLAG_HOST;
    addCapability(capability.release());
    readSettings_i();
}

PhmTextWriter::~PhmTextWriter() = default;

std::int32_t PhmTextWriter::init(const std::string& outputName, bool) {
    return guardMemory(optionName_i(), 1, [&] {
        m_basePath = outputName;
        return 0;
    });
}

std::int32_t PhmTextWriter::writeMessage(const pwr::TextMessage& message) {
    return guardMemory(optionName_i(), 1, [&] {
        m_notes += "\n\n" + message.m_text;
        return 0;
    });
}

BackingStoreWrapper* PhmTextWriter::getStore(const std::string& title, std::uint32_t metricId,
                                             const std::string& groupName, std::uint64_t innerKey,
                                             const std::string& defaultValue) {
    TableInfo* table = findTable_i(metricId, innerKey);
    std::string& group = m_tableGroups[metricId];
    if (table != nullptr && group == groupName) return &table->store;
    std::string name = groupName;  // before the table comes into being: it must not be left without its group
    if (table == nullptr) table = &addTable_i(title, metricId, innerKey, defaultValue);
    group.swap(name);
    return &table->store;
}

std::string PhmTextWriter::getTitleString(const std::string& title) {
    const std::string rule(title.size(), '-');
    return rule + "\n" + title + "\n" + rule;
}

std::int32_t PhmTextWriter::fini() {
    return guardMemory(optionName_i(), 1, [&] { return writeFiles_i(); });
}

std::int32_t PhmTextWriter::writeFiles_i() {
    if (flushMetaData() != 0) {
        LOG_WARNING("PHM writer plugin could not flush metadata file\n");
        return 1;
    }
    OpenFile defaultFile;
    std::map<std::string, OpenFile> groupFiles;
    const std::int32_t status = flushTables_i(defaultFile, groupFiles);
    finishTableFile_i(defaultFile);
    for (auto& [name, file] : groupFiles) finishTableFile_i(file);
    return status == 0 && m_isComplete ? 0 : 1;
}

std::int32_t PhmTextWriter::flushTables_i(OpenFile& defaultFile,
                                          std::map<std::string, OpenFile>& groupFiles) {
    // Names that differ in case or prefix give one path.
    std::map<std::string, std::string> usersOfPaths{{metadataPath_i(), "the metadata"}};
    for (auto& [metricId, tables] : m_tables) {
        if (tables.empty()) continue;
        const std::string& groupName = m_tableGroups[metricId];
        OpenFile& out = groupName.empty() ? defaultFile : groupFiles[groupName];
        if (out.file == nullptr) {
            const std::string path = groupPath_i(groupName);
            const auto [user, isNew] = usersOfPaths.try_emplace(path, "group \"" + groupName + "\"");
            if (!isNew)
                LOG_ERROR("PHM group \"%s\" overwrites %s in %s\n", groupName.c_str(), user->second.c_str(),
                          path.c_str());
            if (!openTableFile_i(out, path)) return 1;
        }
        for (auto& [innerKey, table] : tables) {
            table.store.flush(out.file.get(), ",", false);
            m_isComplete = table.store.isComplete() && m_isComplete;
            if (out.writeError == 0) out.writeError = table.store.writeError();
        }
    }
    return 0;
}

std::string PhmTextWriter::metadataPath_i() const {
    return m_basePath + "_meta" + m_extension;
}

std::string PhmTextWriter::groupPath_i(const std::string& groupName) const {
    if (groupName.empty()) return m_basePath + m_extension;
    std::string name = groupName;
    for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (name.starts_with(GROUP_PREFIX)) name.erase(0, std::char_traits<char>::length(GROUP_PREFIX));
    return m_basePath + "_" + name + m_extension;
}

bool PhmTextWriter::openTableFile_i(OpenFile& out, const std::string& path) const {
    out.path = path;
    out.file = openFile(path, "wb");
    if (out.file == nullptr) {
        LOG_WARNING("Could not create %s\n", path.c_str());
        return false;
    }
    writeText(out.file.get(), m_notes + "\n", out.writeError);
    return true;
}

void PhmTextWriter::finishTableFile_i(OpenFile& out) {
    if (out.file == nullptr) return;
    m_isComplete = finishFile(std::move(out.file), out.path, out.writeError) && m_isComplete;
}

std::int32_t PhmTextWriter::flushMetaData() {
    const std::string path = metadataPath_i();
    FilePtr file = openFile(path, "wb");
    if (file == nullptr) {
        LOG_WARNING("Could not create %s\n", path.c_str());
        return 1;
    }
    int writeError = 0;
    writeText(file.get(), m_notes + "\n" + getTitleString("Metric Metadata") + "\n", writeError);
    std::string cell;
    for (const auto& [metricName, cells] : m_metadata) {
        if (cells.empty()) continue;
        std::string line = metricName + ",";
        for (const pwr::Data& data : cells) {
            cell.clear();
            data.toFormattedString(cell);
            line += cell + ",";
        }
        writeText(file.get(), line + "\n", writeError);
    }
    // An incomplete metadata file must not cost the user the tables.
    m_isComplete = finishFile(std::move(file), path, writeError) && m_isComplete;
    return 0;
}
