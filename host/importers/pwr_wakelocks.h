#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>

#include "host/importers/pwr_lines.h"
#include "host/importers/seekable_content.h"

namespace host::importers {

// A wakelock that was held: its lock and unlock records, and that of its package where it stands in front.
struct Wakelock {
    std::string name;
    bool isUsers = false;        // else the kernel's
    std::uint64_t lockTime = 0;  // ticks
    std::uint64_t time = 0;      // of the release, ticks
    std::uint32_t tid = 0, pid = 0, uid = 0;
    std::uint8_t lockType = 0, unlockType = 0, flag = 1;
    std::optional<std::string> package;  // the name that a record in front gives the uid
    std::size_t size = 0;                // of all its records
};

// Looks at the next wakelock of a block. Nothing at the block's end and where one is not whole.
std::optional<Wakelock> peekWakelock(ContentWindow& block);

// Makes lines of wakelocks. The file gives no metric of them; each block gets one with an id that keeps the
// blocks in their order.
class PwrWakelockLines {
public:
    // `lines` must outlive this object.
    PwrWakelockLines(PwrLines& lines, emit::Output& output)
        : m_lines(lines), m_output(output), m_line(output) {}

    void metric(std::uint32_t id, bool isUsers);
    void wakelock(std::uint32_t metric, const Wakelock& wakelock);

    // How many ids are needed besides one for each record.
    static constexpr std::uint32_t OWN_IDS = 1024;

private:
    using Id = std::uint32_t;

    // What entities differ in.
    using Key = std::tuple<std::string, std::string>;  // name and attributes
    struct Entity {
        Id id = 0;
        std::uint64_t time = 0;  // of its last wakelock
    };

    Id attribute_i(const char* name, int type);
    Id pair_i(const std::string& name, std::uint32_t value);
    std::string attributesOf_i(const Wakelock& wakelock);
    Id entity_i(const Wakelock& wakelock);

    PwrLines& m_lines;
    emit::Output& m_output;
    SampleLine m_line;
    std::map<std::string, Id> m_attributes;
    std::map<std::pair<std::string, std::uint32_t>, Id> m_pairs;
    std::map<std::uint32_t, std::string> m_packages;  // names by uid
    std::map<Key, Entity> m_entities;
    Id m_acquired = 0;  // the handle for the state of one that was held
};

}  // namespace host::importers
