#include "host/model/system_metadata.h"

#include <algorithm>

namespace host::model {

namespace {

// Names the list of nodes, which only classes derived from TopTree may reach.
class TopTreeAccess : public pwr::TopTree {
public:
    static std::vector<const pwr::TNode*>& nodesOf(pwr::TopTree& tree) {
        return tree.*(&TopTreeAccess::m_nodes);
    }
};

const SystemMetadata& contentOf(const pwr::SystemMetadata* metadata) {
    return *static_cast<const SystemMetadata*>(metadata);
}

std::size_t countNodes(const std::vector<const pwr::TNode*>& nodes, pwr::TopNodeType type) {
    const auto ofType = [type](const pwr::TNode* node) { return node->m_type == type; };
    return static_cast<std::size_t>(std::count_if(nodes.begin(), nodes.end(), ofType));
}

}  // namespace

void SystemMetadata::addTopologyNode(pwr::TopNodeType type, std::int32_t id, const std::size_t* parent) {
    const pwr::TNode* const above = parent != nullptr ? &m_nodes[*parent] : nullptr;
    m_nodes.push_back({id, type, above});
    TopTreeAccess::nodesOf(m_topology).push_back(&m_nodes.back());
}

}  // namespace host::model

namespace pwr {

const char* const s_top_node_types[9] = {"NONE", "Package", "Module", "Core", "Thread",
                                         "SOC",  "Die",     "Tile",   "NULL"};

TopTree::TopTree() = default;
TopTree::TopTree(const TopTree& other) = default;
TopTree::~TopTree() = default;

std::size_t TopTree::getNumPackages() const {
    return host::model::countNodes(m_nodes, TOP_NODE_PACKAGE);
}

std::size_t TopTree::getNumModules() const {
    return host::model::countNodes(m_nodes, TOP_NODE_MODULE);
}

std::size_t TopTree::getNumCores() const {
    return host::model::countNodes(m_nodes, TOP_NODE_CORE);
}

std::size_t TopTree::getNumThreads() const {
    return host::model::countNodes(m_nodes, TOP_NODE_THREAD);
}

void TopTree::getAllThreads(std::vector<const TNode*>& out) const {
    out.clear();
    for (const TNode* node : m_nodes)
        if (node->m_type == TOP_NODE_THREAD) out.push_back(node);
}

SystemMetadata::SystemMetadata()
    : m_cpu{},
      m_productVersion{},
      m_driverVersion{},
      m_busFrequency(0),
      m_tscFrequency(0),
      m_lfmFrequency(0),
      m_hfmFrequency(0),
      m_cpuFrequency(0),
      m_collectionStart(0),
      m_collectionStop(0),
      m_collectionTime(0),
      m_platformId(0) {}

SystemMetadata::~SystemMetadata() = default;

double SystemMetadata::getCollectionDurationSec() const {
    return host::model::contentOf(this).m_duration;
}

std::string SystemMetadata::getCollectionStartTime() const {
    return host::model::contentOf(this).m_startTime;
}

std::string SystemMetadata::getFormattedCPUCodeName() const {
    return host::model::contentOf(this).m_codeName;
}

std::string SystemMetadata::getCPUNativeModelName(unsigned int) const {
    return host::model::contentOf(this).m_nativeModel;
}

std::string SystemMetadata::getFormattedPCHDeviceNamesStr(const std::string&) const {
    return host::model::contentOf(this).m_pchNames;
}

}  // namespace pwr
