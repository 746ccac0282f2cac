#include "continuous/cont_writer.h"

#include <cstddef>
#include <vector>

#include "continuous/metadata_trees.h"
#include "plugins/log.h"
#include "plugins/memory_guard.h"
#include "pwr/plugin_environment.h"
#include "pwr/utilities.h"

namespace {

void deliver(pwr::Logger& handle, const JsonBuffer& text) {
    const char* const bytes = text.GetString();
    handle.m_buffer.insert(handle.m_buffer.end(), bytes, bytes + text.GetSize());
    handle.flush();
    std::vector<char>().swap(handle.m_buffer);  // the host keeps its handles, and would keep the memory
    handle.m_writeCount = 0;
    handle.close();
}

}  // namespace

ContWriter* g_contWriter = nullptr;

ContWriter::~ContWriter() = default;

bool ContWriter::flushContinuousResults(const pwr::SystemMetadata& metadata) {
    const std::size_t treeCount = m_metadata.size();
    const auto report = [&] {
        m_metadata.erase(m_metadata.begin() + static_cast<std::ptrdiff_t>(treeCount), m_metadata.end());
        logOutOfMemory("the results of", m_name);
    };
    return guardMemory(report, false, [&] {
        flush_i(metadata);
        return true;
    });
}

void ContWriter::flush_i(const pwr::SystemMetadata& metadata) {
    static std::int32_t num = 0;

    m_metadata.emplace_back("SystemMetadata", makeSystemTree(metadata));
    char fileName[1024];
    pw_snprintf(fileName, sizeof fileName, "%s_%d.ztjson", m_name.c_str(), num++);
    pwr::Logger* const handle = g_pluginEnvironment->getFileOutputHandle(fileName);

    JsonBuffer text;
    JsonTextWriter writer(text);
    writeDocument_i(writer);
    LOG_INFO_TAG(JSON_WRITER_TAG, "string is %s\n", text.GetString());
    deliver(*handle, text);
    const std::size_t recordCount = m_data.size();
    m_metadata.clear();
    m_data.clear();
    LOG_INFO_TAG(JSON_WRITER_TAG, "data size = %zu\n", recordCount);
}

void ContWriter::writeDocument_i(JsonTextWriter& writer) const {
    writer.StartObject();
    writeKey(writer, "Metadata");
    writer.StartArray();
    for (const auto& [name, tree] : m_metadata) {
        writer.StartObject();
        writeMember(writer, "FeatureName", tree->m_name);
        writeMember(writer, "Name", name);
        writeKey(writer, "ID");
        writer.Int(tree->m_id);
        flushMetadata_i(tree.get(), writer);
        writer.EndObject();
    }
    writer.EndArray();
    writeKey(writer, "Data");
    writeRecords_i(writer);
    writer.EndObject();
}

void ContWriter::writeRecords_i(JsonTextWriter& writer) const {
    writer.StartArray();
    for (const Data& record : m_data) {
        writer.StartObject();
        writeKey(writer, "ID");
        writer.Int(record.m_id);
        writeMember(writer, "Entity", *record.m_entity);
        writeMember(writer, "Descriptor", *record.m_descriptor);
        writeKey(writer, "Timestamp");
        writer.Uint64(record.m_timestamp);
        writeKey(writer, "Duration");
        writer.Double(record.m_duration);
        writeKey(writer, "Value");
        writer.Double(record.m_value);
        writer.EndObject();
    }
    writer.EndArray();
}

void ContWriter::flushMetadata_i(const ContinuousWriter::Metadata* node, JsonTextWriter& writer) {
    if (node == nullptr) return;
    for (const auto& [key, values] : node->m_entries) {
        if (values.empty()) continue;
        writeKey(writer, key);
        if (values.size() > 1) writer.StartArray();
        for (const auto& value : values) {
            if (value->m_child != nullptr) {
                writer.StartObject();
                flushMetadata_i(value->m_child.get(), writer);
                writer.EndObject();
            } else {
                writeString(writer, value->m_text);
            }
        }
        if (values.size() > 1) writer.EndArray();
    }
}
