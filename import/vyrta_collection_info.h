#pragma once

#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "plugins/memory_block.h"
#include "pwr/system_metadata.h"

// A logical thread as the hardware configuration record has it: 0, package id, core id, thread index on the
// core.
using VyrtaThreadEntry = std::array<std::uint8_t, 4>;

// What the system message told about the machine and the collection, in the format's terms.
struct VyrtaCollectionInfo {
    std::uint16_t versionMajor = 0;  // of the collector
    std::uint16_t versionMinor = 0;
    std::uint16_t versionUpdate = 0;
    std::string platformName;
    std::string hostName;
    std::string osName;
    std::string osType;  // the processor word, such as "x86_64"
    std::uint32_t osCode = 0;
    std::array<std::uint16_t, 4> osVersion{};
    std::unique_ptr<VyrtaThreadEntry[], FreeDeleter> threads;  // from calloc; null without threads
    std::uint32_t threadCount = 0;
    std::uint32_t tscFrequency = 0;  // Hz
    std::uint32_t cpuFrequency = 0;  // Hz
    std::array<std::uint32_t, 3> cpuId{};
    std::uint64_t startTsc = 0;         // ticks
    std::uint64_t stopTsc = 0;          // ticks
    std::uint64_t startTime = 0;        // the host's clock value of the start, divided by 100
    std::uint64_t cpuFrequencyMhz = 0;  // MHz, truncated
};

// Takes what the system message gives.
void readCollectionInfo(const pwr::SystemMetadata& metadata, VyrtaCollectionInfo& info);
