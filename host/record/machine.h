// What the kernel gives about the machine as a whole.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "host/record/sample_file.h"

namespace host::record {

enum class NodeType : int { Package = 1, Module = 2, Core = 3, Thread = 4 };

// A node of the processor topology; parents stand before their children.
struct TopologyNode {
    NodeType type;
    unsigned id;  // as the kernel numbers packages, modules, cores and logical CPUs
    int parent;   // index in the list, -1 for none
};

struct Machine {
    std::array<unsigned, 3> processor{};  // family, model, stepping
    std::string vendor;
    std::string modelName;
    std::string platform;  // the product's name, else the processor's
    std::string chipset;   // PCI ids of the bridge to the chipset, empty if there is none
    std::string host;
    std::string osName;
    std::string osType;  // the processor word
    std::string osVersion;
    std::array<unsigned, 3> kernel{};  // the numbers that the version begins with
    std::vector<TopologyNode> topology;
    double lowMHz = 0.0;   // lowest frequency
    double highMHz = 0.0;  // highest frequency without a boost
    double cpuMHz = 0.0;   // nominal frequency, above 0
};

// Reads what is there; a frequency that nothing gives is `tscMHz`.
Machine readMachine(const Root& root, double tscMHz);

// "AMD EPYC (family 25, model 17, stepping 1)"
std::string processorText(const Machine& machine);

}  // namespace host::record
