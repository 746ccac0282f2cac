// The logical CPUs as entities of the stream.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/emit/definitions.h"
#include "host/record/machine.h"

namespace host::record {

class Cpus {
public:
    // Defines packages, modules, cores and the CPUs that are online as a tree of entities.
    Cpus(emit::Definitions& definitions, const std::vector<TopologyNode>& topology);

    // CPUs that were online at the start, in ascending order.
    const std::vector<unsigned>& numbers() const { return m_numbers; }

    // Entity of a CPU; one that came online later is defined now.
    emit::Id entity(unsigned number);

    static std::string name(unsigned number) { return "CPU" + std::to_string(number); }

private:
    emit::Definitions& m_definitions;
    std::vector<unsigned> m_numbers;
    std::map<unsigned, emit::Id> m_entities;
};

}  // namespace host::record
