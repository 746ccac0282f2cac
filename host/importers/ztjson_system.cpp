#include "host/importers/ztjson_system.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace host::importers {

namespace {

// More of a kind no machine has; each becomes a node of the topology.
constexpr std::uint32_t MOST_NODES = 1048576;

// Three numbers with dots between.
SystemDescription::Version versionOf(const std::string& text) {
    SystemDescription::Version version;
    unsigned numbers[3] = {};
    const char* at = text.data();
    const char* const end = at + text.size();
    for (unsigned& number : numbers) {
        at = std::from_chars(at, end, number).ptr;
        if (at != end) ++at;
    }
    version.major = static_cast<std::uint16_t>(numbers[0]);
    version.minor = static_cast<std::uint8_t>(numbers[1]);
    version.update = static_cast<std::uint8_t>(numbers[2]);
    return version;
}

// Each word stands after a blank.
std::vector<std::string> wordsOf(const std::string& text) {
    std::vector<std::string> words;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find(' ', at + 1), text.size());
        words.push_back(text.substr(at + 1, end - at - 1));
        at = end;
    }
    return words;
}

}  // namespace

void readSystemMembers(JsonPull& json, SystemMembers& members) {
    std::string key;
    json.enterObject();
    while (json.nextKey(key)) members[key] = json.scalar();
}

std::string textOf(const SystemMembers& members, const char* key) {
    const auto found = members.find(key);
    return found != members.end() ? found->second : std::string();
}

SystemDescription describeSystem(const SystemMembers& members) {
    SystemDescription system;
    // The parts of a continuous run spell the name of the platform without a letter.
    system.platform = textOf(members, members.contains("Platform Name") ? "Platform Name" : "Plaform Name");
    const std::pair<std::string*, const char*> texts[] = {
        {&system.codeName, "CPU Name"},   {&system.nativeModel, "CPU Native Name"},
        {&system.pchNames, "PCH Name"},   {&system.host, "Host Name"},
        {&system.osName, "OS Name"},      {&system.osType, "OS Type"},
        {&system.osVersion, "OS Version"}};
    for (const auto& [text, key] : texts) *text = textOf(members, key);
    const std::pair<std::uint32_t*, const char*> counts[] = {{&system.packageCount, "Num Packages"},
                                                             {&system.moduleCount, "Num Modules"},
                                                             {&system.coreCount, "Num Cores"},
                                                             {&system.threadCount, "Num Threads"}};
    for (const auto& [count, key] : counts)
        *count = std::min(numberOf<std::uint32_t>(members, key), MOST_NODES);
    const std::pair<float*, const char*> frequencies[] = {{&system.hfmMHz, "HFM Frequency MHz"},
                                                          {&system.lfmMHz, "LFM Frequency MHz"},
                                                          {&system.cpuMHz, "CPU Frequency MHz"},
                                                          {&system.busMHz, "Bus Frequency MHz"}};
    for (const auto& [frequency, key] : frequencies)
        *frequency = static_cast<float>(numberOf<double>(members, key));
    system.platformId = numberOf<std::uint32_t>(members, "Platform ID");
    system.product = versionOf(textOf(members, "Zentrace Version"));
    system.driver = versionOf(textOf(members, "Zentrace Driver Version"));
    system.start = numberOf<std::uint64_t>(members, "Collection Start Timestamp");
    system.stop = numberOf<std::uint64_t>(members, "Collection Stop Timestamp");
    system.durationSec = numberOf<double>(members, "Collection Duration");
    system.command = wordsOf(textOf(members, "Collection Command Line"));
    return system;
}

}  // namespace host::importers
