#include "continuous/metadata_trees.h"

#include "plugins/log.h"
#include "plugins/value_text.h"

namespace {

using Metadata = ContinuousWriter::Metadata;
using Tree = std::shared_ptr<Metadata>;

Tree makeQuantityTree(const pwr::Metric& metric) {
    std::string name;
    std::string units;
    if (metric.m_quantity != nullptr) {
        name = metric.m_quantity->toQuantityString();
        units = metric.m_quantity->toUnitsString();
        LOG_INFO_TAG(CONTINUOUS_WRITER_TAG, "wrote name = %s, units = %s\n", name.c_str(), units.c_str());
    } else {
        LOG_WARNING("no quantity so no units for %s?!\n", metric.m_name.c_str());
    }
    Tree tree = std::make_shared<Metadata>();
    tree->add("Name", name);
    tree->add("Units", units);
    return tree;
}

Tree makeCombinationTree(const pwr::DataHandle& entity, const pwr::DataDescriptor* descriptor) {
    std::string name;
    std::string attributeValue;
    if (descriptor != nullptr) {
        name = descriptor->getName();
        getFirstDataAttributeAsString(descriptor, &attributeValue);
    }
    const Tree descriptorTree = std::make_shared<Metadata>();
    descriptorTree->add("Name", name);
    descriptorTree->add("AttributeValue", attributeValue);

    Tree tree = std::make_shared<Metadata>();
    tree->add("Entity", entity.getName());
    tree->add("Descriptor", descriptorTree);
    return tree;
}

Tree makePlatformTree(const pwr::SystemMetadata& metadata) {
    Tree tree = std::make_shared<Metadata>();
    const auto addCount = [&tree](const char* key, unsigned long count) { tree->add(key, count); };
    tree->add("Platform ID", metadata.m_platformId);
    tree->add("Plaform Name", metadata.m_platformName);  // readers know the key in this spelling
    tree->add("CPU Name", metadata.getFormattedCPUCodeName());
    tree->add("CPU Native Name", metadata.getCPUNativeModelName(metadata.m_cpu.model));
    tree->add("PCH Name", metadata.getFormattedPCHDeviceNamesStr(metadata.m_platformName));
    tree->add("Host Name", metadata.m_hostName);
    addCount("Num Packages", metadata.m_topology.getNumPackages());
    addCount("Num Modules", metadata.m_topology.getNumModules());
    addCount("Num Cores", metadata.m_topology.getNumCores());
    addCount("Num Threads", metadata.m_topology.getNumThreads());
    tree->add("HFM Frequency MHz", metadata.m_hfmFrequency);
    tree->add("LFM Frequency MHz", metadata.m_lfmFrequency);
    tree->add("CPU Frequency MHz", metadata.m_cpuFrequency);
    tree->add("Bus Frequency MHz", metadata.m_busFrequency);
    return tree;
}

}  // namespace

Tree makeMetricTree(const pwr::Metric& metric) {
    LOG_INFO_TAG(CONTINUOUS_WRITER_TAG,
                 "metric container with name %s and id %u does NOT have metadata sent yet\n",
                 metric.m_name.c_str(), metric.m_id);
    Tree tree = std::make_shared<Metadata>(metric.m_groupName, static_cast<std::int32_t>(metric.m_id));
    tree->add("Quantity", makeQuantityTree(metric));
    tree->add("Type", std::string(getTypeString(metric.m_metricType)));

    LOG_INFO_TAG(CONTINUOUS_WRITER_TAG, "there are %zu finite values and %zu E-D combos\n",
                 metric.m_legendValues.size(), metric.m_attributeDescriptors.size());
    for (const pwr::Data& value : metric.m_legendValues) {
        std::string text;
        value.toFormattedString(text);
        tree->add("States", text);
    }
    for (const auto& [entity, descriptor] : metric.m_attributeDescriptors)
        tree->add("Entity-Descriptor-Combinations", makeCombinationTree(*entity, descriptor));
    return tree;
}

Tree makeSystemTree(const pwr::SystemMetadata& metadata) {
    const Tree os = std::make_shared<Metadata>();
    os->add("OS Name", metadata.m_osName);
    os->add("OS Type", metadata.m_osType);
    os->add("OS Version", metadata.m_osVersion);

    const Tree collection = std::make_shared<Metadata>();
    collection->add("Collection Start Timestamp", metadata.m_collectionStart);
    collection->add("Collection Stop Timestamp", metadata.m_collectionStop);
    collection->add("Collection Duration", metadata.getCollectionDurationSec());

    Tree tree = std::make_shared<Metadata>();
    tree->add("Platform", makePlatformTree(metadata));
    tree->add("OS", os);
    tree->add("Zentrace", collection);
    return tree;
}
