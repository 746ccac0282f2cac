#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/importers/pwr_elements.h"
#include "host/importers/system_line.h"
#include "host/inspect/pwr_record.h"

namespace host::importers {

// What the header block of an import trace defines; docs/formats/pwr.md describes the records.
struct PwrHeader {
    using Id = std::uint32_t;
    static constexpr std::size_t NO_PLACE = static_cast<std::size_t>(-1);

    // A thing with a name. `place` counts the records that samples have caused, in their order.
    struct Info {
        std::size_t place = NO_PLACE;
        std::string name, shortName, description;
        Id value = 0;
        Id parent = 0;
    };
    struct Process {
        std::size_t place = NO_PLACE;
        Id pid = 0;
        Id tid = 0;  // of threads
        std::uint64_t start = 0;
        std::uint64_t end = 0;
        std::string path;

        // By which the writer sorts them.
        std::string key() const;
    };

    // What a record that a sample has caused defines. Either has an info or a runner.
    struct Place {
        std::string_view kind;  // of an info
        Id id = 0;
        const Info* info = nullptr;
        const Process* runner = nullptr;
    };

    SystemDescription system;
    // By info type, such as "entity", and id.
    std::map<std::string, std::unordered_map<Id, Info>, std::less<>> infos;
    std::vector<Process> processes;
    std::vector<Process> threads;
    std::size_t places = 0;  // how many there are

    // The first of so many ids that no record of the file uses.
    Id findFreeIds(Id count) const;

    // Takes a record in front of the second magic record.
    void take(const inspect::PwrRecord& record);

    // Reports starts from ends, once all records have been taken.
    void finish();

    const Info* find(std::string_view kind, std::uint64_t id) const;

    // Whether a text that stands last among attributes names the state, as it does where a traced value was a
    // text: that is the only one, and the state has no other name.
    bool isNamedBy(std::uint64_t field, const std::vector<PwrAttribute>& attributes) const;

    // What stands at a place, and the process or thread there; null if there is none. After finish.
    const Place* placeAt(std::size_t place) const {
        return place < m_places.size() ? &m_places[place] : nullptr;
    }
    const Process* runnerAt(std::size_t place) const {
        return place < m_places.size() ? m_places[place].runner : nullptr;
    }

    // Of those that have had this id, the one that had begun last at a time, or else the first; null if there
    // was none. After finish.
    const Process* findProcess(std::uint64_t pid, std::uint64_t time) const {
        return findRunner_i(m_byPid, pid, time);
    }
    const Process* findThread(std::uint64_t tid, std::uint64_t time) const {
        return findRunner_i(m_byTid, tid, time);
    }

private:
    void takeSystem_i(const inspect::PwrRecord& record);
    void takeHardware_i(const inspect::PwrRecord& record);
    void takeInfo_i(const inspect::PwrRecord& record);
    void takeProcess_i(const inspect::PwrRecord& record);
    void takeThread_i(const inspect::PwrRecord& record);
    void note_i(std::uint64_t id);
    static void pair_i(std::vector<Process*>& begun, const std::vector<Process>& ends);

    using Runners = std::unordered_map<std::uint64_t, std::vector<const Process*>>;
    static const Process* findRunner_i(const Runners& runners, std::uint64_t id, std::uint64_t time);

    std::uint16_t m_osCode = 0;
    Runners m_byPid, m_byTid;
    std::vector<Place> m_places;
    std::vector<Process> m_threadEnds;
    std::vector<Id> m_ids;  // of handles that the collector has given
};

// The first id that the writers' own things have.
inline constexpr std::uint32_t FIRST_WRITER_ID = 1073741824;

}  // namespace host::importers
