#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/emit/output.h"

namespace host::importers {

// What a result says about the machine and the collection.
struct SystemDescription {
    struct Version {
        std::uint16_t major = 0;
        std::uint8_t minor = 0;
        std::uint8_t update = 0;
    };
    struct Thread {
        std::int32_t package = 0;
        std::int32_t core = 0;
    };

    std::uint8_t cpu[3] = {};
    Version product;
    Version driver;
    std::string platform, host, osName, osType, osVersion, codeName, nativeModel, pchNames;
    float hfmMHz = 0, lfmMHz = 0, cpuMHz = 0, busMHz = 0, tscMHz = 1;
    std::uint64_t start = 0, stop = 0, time = 0;
    double durationSec = 0;
    std::uint32_t platformId = 0;
    std::vector<std::string> command;

    // How many there are of each; or, if `threads` is not empty, where each thread belongs.
    std::uint32_t packageCount = 0, moduleCount = 0, coreCount = 0, threadCount = 0;
    std::vector<Thread> threads;
};

// Writes the "system" message.
void writeSystem(const SystemDescription& system, emit::Output& output);

// Writes the "stop" message, with which a later part of a run corrects the end of the collection.
void writeStop(std::uint64_t stop, double durationSec, emit::Output& output);

}  // namespace host::importers
