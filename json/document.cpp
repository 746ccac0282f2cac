#include "json/document.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "json/category.h"
#include "plugins/log.h"

namespace {

using Category = std::vector<Series*>;

std::vector<Category> groupByCategory(const std::vector<std::unique_ptr<Series>>& series) {
    std::vector<Category> categories;
    std::unordered_map<std::string, std::size_t> indices;
    for (const auto& one : series) {
        const auto [index, isNew] = indices.try_emplace(one->getCategory(), categories.size());
        if (isNew) categories.emplace_back();
        categories[index->second].push_back(one.get());
    }
    return categories;
}

// True if two of the keys are the same in the document, where a key ends at its first zero byte.
template <typename Items, typename KeyOf>
bool hasRepeatedKeys(const Items& items, const KeyOf& keyOf) {
    std::unordered_set<std::string_view> keys;
    keys.reserve(items.size());
    return !std::all_of(items.begin(), items.end(),
                        [&](const auto& item) { return keys.insert(keyOf(item).c_str()).second; });
}

void noteRepeatedKeys(const std::vector<Category>& categories) {
    const auto keyOf = [](const Series* series) -> const std::string& { return series->getKey(); };
    const auto repeats = [&](const Category& category) { return hasRepeatedKeys(category, keyOf); };
    const auto nameOf = [](const Category& category) -> const std::string& {
        return category.front()->getCategory();
    };
    if (hasRepeatedKeys(categories, nameOf) || std::any_of(categories.begin(), categories.end(), repeats))
        LOG_NOTE(
            "Note: The JSON document has series of the same name. Their keys repeat, and many readers "
            "keep only the last of them\n");
}

template <std::size_t Size>
void writeCount(JsonTextWriter& writer, const char (&key)[Size], std::size_t count) {
    writeKey(writer, key);
    writer.Uint(static_cast<unsigned int>(count));
}

template <std::size_t Size>
void writeFrequency(JsonTextWriter& writer, const char (&key)[Size], float frequency) {
    writeKey(writer, key);
    writer.Double(static_cast<double>(frequency));
}

void writePlatform(JsonTextWriter& writer, const pwr::SystemMetadata& metadata) {
    writer.StartObject();
    writeCount(writer, "Platform ID", metadata.m_platformId);
    writeMember(writer, "Platform Name", metadata.m_platformName);
    writeMember(writer, "CPU Name", metadata.getFormattedCPUCodeName());
    writeMember(writer, "CPU Native Name", metadata.getCPUNativeModelName(metadata.m_cpu.model));
    writeMember(writer, "PCH Name", metadata.getFormattedPCHDeviceNamesStr(metadata.m_platformName));
    writeMember(writer, "Host Name", metadata.m_hostName);
    writeCount(writer, "Num Packages", metadata.m_topology.getNumPackages());
    writeCount(writer, "Num Modules", metadata.m_topology.getNumModules());
    writeCount(writer, "Num Cores", metadata.m_topology.getNumCores());
    writeCount(writer, "Num Threads", metadata.m_topology.getNumThreads());
    writeFrequency(writer, "HFM Frequency MHz", metadata.m_hfmFrequency);
    writeFrequency(writer, "LFM Frequency MHz", metadata.m_lfmFrequency);
    writeFrequency(writer, "CPU Frequency MHz", metadata.m_cpuFrequency);
    writeFrequency(writer, "Bus Frequency MHz", metadata.m_busFrequency);
    writer.EndObject();
}

void writeCollection(JsonTextWriter& writer, const DocumentHead& head) {
    writer.StartObject();
    writeMember(writer, "Zentrace Version", head.zentraceVersion);
    writeMember(writer, "Zentrace Driver Version", head.driverVersion);
    writeKey(writer, "Collection Start Timestamp");
    writer.Uint64(head.collectionStart);
    writeKey(writer, "Collection Stop Timestamp");
    writer.Uint64(head.metadata.m_collectionStop);
    writeKey(writer, "Collection Duration");
    writer.Double(head.metadata.getCollectionDurationSec());
    writeMember(writer, "Collection Command Line", head.commandLine);
    writer.EndObject();
}

void writeSystem(JsonTextWriter& writer, const DocumentHead& head) {
    writer.StartObject();
    writeKey(writer, "platform");
    writePlatform(writer, head.metadata);
    writeKey(writer, "os");
    writer.StartObject();
    writeMember(writer, "OS Name", head.metadata.m_osName);
    writeMember(writer, "OS Type", head.metadata.m_osType);
    writeMember(writer, "OS Version", head.metadata.m_osVersion);
    writer.EndObject();
    writeKey(writer, "zentrace");
    writeCollection(writer, head);
    writer.EndObject();
}

// The version of the document's format.
void writeFormatVersion(JsonTextWriter& writer) {
    writer.StartObject();
    writeCount(writer, "major", 1);
    writeCount(writer, "minor", 0);
    writeCount(writer, "rev", 0);
    writer.EndObject();
}

}  // namespace

void writeDocument(DocumentSink& sink, const DocumentHead& head,
                   const std::vector<std::unique_ptr<Series>>& series) {
    JsonTextWriter& writer = sink.writer();
    writer.StartObject();
    writeMember(writer, "fileType", "zentrace");
    writeKey(writer, "version");
    writeFormatVersion(writer);
    writeKey(writer, "systemMetaData");
    writeSystem(writer, head);
    writeKey(writer, "data");
    writer.StartObject();
    const std::vector<Category> categories = groupByCategory(series);
    noteRepeatedKeys(categories);
    for (const Category& category : categories) writeCategory(sink, category);
    writer.EndObject();
    writer.EndObject();
}
