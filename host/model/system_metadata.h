#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include "pwr/system_metadata.h"

namespace host::model {

// The machine and the collection, with what the base's operations return.
class SystemMetadata : public pwr::SystemMetadata {
public:
    // Appends a node to the topology. `parent` is the place of an earlier node, or null for a root.
    void addTopologyNode(pwr::TopNodeType type, std::int32_t id, const std::size_t* parent);

    double m_duration = 0.0;  // seconds
    std::string m_startTime;
    std::string m_codeName;
    std::string m_nativeModel;
    std::string m_pchNames;

private:
    std::deque<pwr::TNode> m_nodes;
};

}  // namespace host::model
