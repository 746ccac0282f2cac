#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "pwr/api.h"

namespace pwr {

// Node types of the topology: indices into s_top_node_types.
enum TopNodeType : std::int32_t {
    TOP_NODE_NONE = 0,
    TOP_NODE_PACKAGE = 1,
    TOP_NODE_MODULE = 2,
    TOP_NODE_CORE = 3,
    TOP_NODE_THREAD = 4,
    TOP_NODE_SOC = 5,
    TOP_NODE_DIE = 6,
    TOP_NODE_TILE = 7,
    TOP_NODE_NULL = 8,
};

// The names of the node types: "NONE", "Package", "Module", "Core", "Thread", "SOC", "Die", "Tile", "NULL".
extern PWR_HOST_API const char* const s_top_node_types[9];

// A node of the topology.
struct TNode {
    std::int32_t m_id;
    std::int32_t m_type;    // see TopNodeType
    const TNode* m_parent;  // null at the root; owned by the host
};

// The processor topology of the machine.
class PWR_HOST_API TopTree {
public:
    TopTree();
    TopTree(const TopTree& other);
    ~TopTree();

    std::size_t getNumPackages() const;
    std::size_t getNumModules() const;
    std::size_t getNumCores() const;
    std::size_t getNumThreads() const;

    // Replaces `out` by the thread nodes, in order of their definition. The nodes stay the host's.
    void getAllThreads(std::vector<const TNode*>& out) const;

protected:
    std::vector<const TNode*> m_nodes;
};

// A version number, in the order of its 32 bits from the lowest.
struct Version {
    std::uint8_t update;  // bits 0 to 7
    std::uint8_t minor;   // bits 8 to 15
    std::uint16_t major;  // bits 16 to 31
};

struct CpuIdentification {
    std::uint8_t family;
    std::uint8_t model;  // the argument for getCPUNativeModelName
    std::uint8_t stepping;
};

// The machine and the collection.
class PWR_HOST_API SystemMetadata {
public:
    double getCollectionDurationSec() const;     // seconds
    std::string getCollectionStartTime() const;  // display text
    std::string getFormattedCPUCodeName() const;
    std::string getCPUNativeModelName(unsigned int model) const;
    std::string getFormattedPCHDeviceNamesStr(const std::string& platformName) const;

    CpuIdentification m_cpu;
    Version m_productVersion;  // of the collector
    Version m_driverVersion;   // of the collector's driver
    std::string m_platformName;
    std::string m_hostName;
    std::string m_osName;
    std::string m_osType;
    std::string m_osVersion;
    TopTree m_topology;
    float m_busFrequency;             // MHz
    float m_tscFrequency;             // MHz, so ticks per microsecond
    float m_lfmFrequency;             // MHz
    float m_hfmFrequency;             // MHz
    float m_cpuFrequency;             // MHz
    std::uint64_t m_collectionStart;  // TSC ticks
    std::uint64_t m_collectionStop;   // TSC ticks
    std::uint64_t m_collectionTime;   // clock value of the start
    std::vector<std::string> m_commandLine;
    std::uint32_t m_platformId;

protected:
    SystemMetadata();
    ~SystemMetadata();
};

}  // namespace pwr
