#include "import/vyrta_collection_info.h"

#include "import/vyrtawriter_plugin.h"
#include "plugins/numbers.h"
#include "pwr/system_metadata.h"
#include "pwr/utilities.h"

namespace {

std::map<std::pair<int, int>, int> coreThreadCount;

std::uint32_t osCodeOf(const std::string& osName, const std::string& osType) {
    const bool isWindow = osName.find("Window") != std::string::npos;
    if (osType == "ia64") return isWindow ? 1 : 4;
    if (osType == "x86_64") return isWindow ? 2 : 5;
    if (osType.size() == 4 && osType[0] == 'i' && osType.compare(2, 2, "86") == 0) return isWindow ? 0 : 3;
    return 6;
}

std::array<std::uint16_t, 4> osVersionOf(const std::string& text) {
    std::array<std::uint16_t, 4> version{};
    const std::vector<std::string> tokens = pwr::Tokenizer(text, ".").get_all_tokens();
    for (std::size_t i = 0; i < version.size() && i < tokens.size(); ++i)
        version[i] = static_cast<std::uint16_t>(std::strtoul(tokens[i].c_str(), nullptr, 0));
    return version;
}

std::uint32_t hertz(float megahertz) {
    return truncateSaturated<std::uint32_t>(megahertz * 1000000.0F);
}

void readThreads(const pwr::SystemMetadata& metadata, VyrtaCollectionInfo& info) {
    std::vector<const pwr::TNode*> nodes;
    metadata.m_topology.getAllThreads(nodes);
    info.threadCount = static_cast<std::uint32_t>(nodes.size());
    info.threads.reset(static_cast<VyrtaThreadEntry*>(std::calloc(nodes.size(), sizeof(VyrtaThreadEntry))));
    if (info.threads == nullptr) return;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const pwr::TNode* const core = nodes[i]->m_parent;
        const pwr::TNode* package = core != nullptr ? core->m_parent : nullptr;
        if (package != nullptr && package->m_type == pwr::TOP_NODE_MODULE) package = package->m_parent;
        VyrtaThreadEntry& entry = info.threads[static_cast<std::uint16_t>(i)];
        entry[1] = static_cast<std::uint8_t>(package != nullptr ? package->m_id : 0);
        entry[2] = static_cast<std::uint8_t>(core != nullptr ? core->m_id : 0);
        entry[3] = static_cast<std::uint8_t>(getCoreThreadCount(entry[1], entry[2]));
    }
}

}  // namespace

int getCoreThreadCount(int package, int core) {
    const auto [entry, isNew] = coreThreadCount.try_emplace({package, core}, 0);
    if (!isNew) ++entry->second;
    return entry->second;
}

void readCollectionInfo(const pwr::SystemMetadata& metadata, VyrtaCollectionInfo& info) {
    readThreads(metadata, info);
    info.versionMajor = metadata.m_productVersion.major;
    info.versionMinor = metadata.m_productVersion.minor;
    info.versionUpdate = metadata.m_productVersion.update;
    info.platformName = metadata.m_platformName;
    info.hostName = metadata.m_hostName;
    info.osName = metadata.m_osName;
    info.osType = metadata.m_osType;
    info.osCode = osCodeOf(info.osName, info.osType);
    info.osVersion = osVersionOf(metadata.m_osVersion);
    info.tscFrequency = hertz(metadata.m_tscFrequency);
    info.cpuFrequency = hertz(metadata.m_cpuFrequency);
    info.cpuFrequencyMhz = truncateSaturated<std::uint64_t>(metadata.m_cpuFrequency);
    info.cpuId = {metadata.m_cpu.family, metadata.m_cpu.model, metadata.m_cpu.stepping};
    info.startTsc = metadata.m_collectionStart;
    info.stopTsc = metadata.m_collectionStop;
    info.startTime = metadata.m_collectionTime / 100;
}
