#include "host/record/cpus.h"

#include <algorithm>

namespace host::record {

namespace {

std::string nodeName(const TopologyNode& node) {
    switch (node.type) {
        case NodeType::Package:
            return "Package" + std::to_string(node.id);
        case NodeType::Module:
            return "Module" + std::to_string(node.id);
        case NodeType::Core:
            return "Core" + std::to_string(node.id);
        case NodeType::Thread:
            break;
    }
    return Cpus::name(node.id);
}

}  // namespace

Cpus::Cpus(emit::Definitions& definitions, const std::vector<TopologyNode>& topology)
    : m_definitions(definitions) {
    std::vector<emit::Id> entities;
    for (const TopologyNode& node : topology) {
        const emit::Id parent = node.parent < 0 ? 0 : entities[static_cast<std::size_t>(node.parent)];
        entities.push_back(m_definitions.entity(nodeName(node), parent));
        if (node.type != NodeType::Thread) continue;
        m_numbers.push_back(node.id);
        m_entities[node.id] = entities.back();
    }
    std::sort(m_numbers.begin(), m_numbers.end());
}

emit::Id Cpus::entity(unsigned number) {
    emit::Id& entity = m_entities[number];
    if (entity == 0) entity = m_definitions.entity(name(number));
    return entity;
}

}  // namespace host::record
