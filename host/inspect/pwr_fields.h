// What the records of a .pwr file hold, read once for all who use it; docs/formats/pwr.md describes them.
//
// Each function takes a record of the kind that it is named for. Texts are parts of the record's bytes, with
// no NUL at their end; ids are as they stand, vyrta::NO_ID for none.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "host/inspect/pwr_record.h"

namespace host::inspect {

struct PwrCollectionInfo {
    std::uint16_t major, minor;  // of the collector
    std::uint32_t update;
    std::string_view name;
};
PwrCollectionInfo readCollectionInfo(const PwrRecord& record);

struct PwrSystemInfo {
    std::uint16_t osCode;
    std::array<std::uint16_t, 4> osVersion;
    std::string_view host, platform, osName;
};
PwrSystemInfo readSystemInfo(const PwrRecord& record);

struct PwrHardware {
    struct Thread {
        std::uint8_t package, core;
        std::uint8_t thread;  // on its core
    };
    std::uint64_t tscHz;
    std::uint64_t cpuHz;
    std::uint64_t highestAddress;
    std::uint8_t pointerBits;
    std::array<std::uint8_t, 3> cpu;  // identification
    std::vector<Thread> threads;
};
PwrHardware readHardware(const PwrRecord& record);

struct PwrHeadMarker {
    std::uint64_t start;  // of the collection, ticks
    std::uint64_t time;   // the same, 100 units of the collector's clock
};
PwrHeadMarker readHeadMarker(const PwrRecord& record);

std::uint32_t readPowerThreshold(const PwrRecord& record);  // the CPU's frequency, MHz

struct PwrInfo {
    std::uint16_t version;
    std::uint32_t typeId;
    std::uint32_t value;
    std::uint32_t parent;
    std::uint32_t id;
    std::string_view name, shortName;
    std::string_view type;  // the info type's name
    std::string_view description;
};
PwrInfo readInfo(const PwrRecord& record);

struct PwrMetric {
    std::uint16_t version;
    std::uint32_t metricClass;
    std::uint32_t id;
    std::uint32_t quantity, tabGroup, timelineGroup;
    std::string_view name, displayName;
};
PwrMetric readMetric(const PwrRecord& record);

struct PwrAttribute {
    std::uint32_t type;   // see vyrta::AttributeKind
    std::uint64_t value;  // an id, a number, the bits of a real, ticks
};

// A sample; its attributes are read one after the other, `count` times next.
struct PwrSample {
    std::uint64_t time;  // ticks
    std::uint16_t version;
    std::uint16_t count;
    ByteReader rest;

    PwrAttribute next() {
        const auto type = rest.get<std::uint32_t>();
        return {type, rest.get<std::uint64_t>()};
    }
};
PwrSample readSample(const PwrRecord& record);

// The start or the end of a process: which, the record does not say.
struct PwrProcess {
    std::uint64_t time;  // ticks
    std::uint32_t pid;
    std::string_view path;
};
PwrProcess readProcess(const PwrRecord& record);

struct PwrThread {
    std::uint64_t time;  // ticks
    std::uint32_t mark;  // vyrta::MARK_START or vyrta::MARK_THREAD_END
    std::uint32_t pid, tid;
};
PwrThread readThread(const PwrRecord& record);

// The lock or the unlock of a wakelock, of the kernel or of a user.
struct PwrWakelock {
    std::uint64_t time;  // ticks
    std::uint32_t tid, pid;
    std::uint8_t type;
    std::uint64_t expires;  // of the kernel's: ticks, 0 for never
    std::uint8_t flag;      // of a user's
    std::uint32_t uid;      // of a user's: the package's
    std::string_view name;
};
PwrWakelock readWakelock(const PwrRecord& record);

struct PwrPackage {
    std::uint64_t time;  // ticks
    std::uint32_t uid;
    std::string_view name;
};
PwrPackage readPackage(const PwrRecord& record);

}  // namespace host::inspect
