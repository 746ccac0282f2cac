#include "host/importers/pwr_header.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "host/inspect/pwr_fields.h"
#include "plugins/numbers.h"
#include "pwr/bin/pwr_records.h"

namespace host::importers {

using inspect::PwrKind;
using inspect::PwrRecord;

namespace {

// A frequency whose product in single precision is so many Hz.
float megahertzOf(std::uint64_t hertz) {
    constexpr int NEIGHBOURS = 8;
    const auto guess = static_cast<float>(static_cast<double>(hertz) / 1e6);
    float below = guess;
    float above = guess;
    for (int i = 0; i < NEIGHBOURS; ++i) {
        for (const float frequency : {below, above})
            if (truncateSaturated<std::uint32_t>(frequency * 1000000.0F) == hertz) return frequency;
        below = std::nextafter(below, 0.0F);
        above = std::nextafter(above, INFINITY);
    }
    return guess;
}

// A word of which the same code is made.
std::string processorOf(std::uint16_t code, std::uint8_t pointerBits) {
    switch (code) {
        case 1:
        case 4:
            return "ia64";
        case 2:
        case 5:
            return "x86_64";
        case 0:
        case 3:
            return pointerBits == 32 ? "i686" : "i586";
        default:
            return {};
    }
}

}  // namespace

void PwrHeader::take(const PwrRecord& record) {
    switch (record.kind) {
        case PwrKind::CollectionInfo: {
            const inspect::PwrCollectionInfo info = readCollectionInfo(record);
            system.product.major = info.major;
            system.product.minor = static_cast<std::uint8_t>(info.minor);
            system.product.update = static_cast<std::uint8_t>(info.update);
            return;
        }
        case PwrKind::SystemInfo:
            return takeSystem_i(record);
        case PwrKind::HardwareConfiguration:
            return takeHardware_i(record);
        case PwrKind::HeadMarker: {
            const inspect::PwrHeadMarker marker = readHeadMarker(record);
            constexpr std::uint64_t UNIT = 100;
            system.start = marker.start;
            system.time = marker.time > UINT64_MAX / UNIT ? UINT64_MAX : marker.time * UNIT;
            return;
        }
        case PwrKind::PowerThreshold: {
            const auto frequency = static_cast<float>(readPowerThreshold(record));
            system.cpuMHz = frequency > 0 ? frequency : 0.5F;
            return;
        }
        case PwrKind::Info:
            return takeInfo_i(record);
        case PwrKind::Process:
            return takeProcess_i(record);
        case PwrKind::Thread:
            return takeThread_i(record);
        default:
            return;
    }
}

void PwrHeader::takeSystem_i(const PwrRecord& record) {
    const inspect::PwrSystemInfo info = readSystemInfo(record);
    m_osCode = info.osCode;
    for (const std::uint16_t part : info.osVersion)
        system.osVersion += (system.osVersion.empty() ? "" : ".") + std::to_string(part);
    system.host = info.host;
    system.platform = info.platform;
    system.osName = info.osName;
}

void PwrHeader::takeHardware_i(const PwrRecord& record) {
    const inspect::PwrHardware hardware = readHardware(record);
    system.tscMHz = megahertzOf(hardware.tscHz);
    system.osType = processorOf(m_osCode, hardware.pointerBits);
    std::copy(hardware.cpu.begin(), hardware.cpu.end(), std::begin(system.cpu));
    for (const inspect::PwrHardware::Thread& found : hardware.threads) {
        SystemDescription::Thread thread;
        thread.package = found.package;
        thread.core = found.core;
        system.threads.push_back(thread);
    }
}

void PwrHeader::note_i(std::uint64_t id) {
    if (id < FIRST_WRITER_ID) m_ids.push_back(static_cast<Id>(id));
}

PwrHeader::Id PwrHeader::findFreeIds(Id count) const {
    std::vector<Id> ids = m_ids;
    ids.push_back(0);
    ids.push_back(FIRST_WRITER_ID);
    std::sort(ids.begin(), ids.end());
    for (std::size_t i = ids.size() - 1; i > 0; --i)
        if (ids[i] - ids[i - 1] > count) return ids[i - 1] + 1;
    return 1;
}

void PwrHeader::takeInfo_i(const PwrRecord& record) {
    const inspect::PwrInfo found = readInfo(record);
    if (found.typeId == 0 || found.type == "metric_type") return;
    Info info;
    info.value = found.value;
    info.parent = found.parent;
    info.name = found.name;
    info.shortName = found.shortName;
    info.description = found.description;
    info.place = places++;
    if (found.type != "quantity") note_i(found.id);
    infos[std::string(found.type)].insert_or_assign(found.id, std::move(info));
}

void PwrHeader::takeProcess_i(const PwrRecord& record) {
    const inspect::PwrProcess found = readProcess(record);
    Process process;
    process.pid = found.pid;
    process.start = found.time;
    process.path = found.path;
    process.place = places++;
    processes.push_back(std::move(process));
}

void PwrHeader::takeThread_i(const PwrRecord& record) {
    const inspect::PwrThread found = readThread(record);
    Process thread;
    thread.pid = found.pid;
    thread.tid = found.tid;
    thread.start = found.time;
    if (found.mark == vyrta::MARK_THREAD_END) {
        m_threadEnds.push_back(thread);
        return;
    }
    thread.place = places++;
    threads.push_back(thread);
}

// Gives each of `begun`, which are sorted as the writer sorts them, the next of the ends of its key.
void PwrHeader::pair_i(std::vector<Process*>& begun, const std::vector<Process>& ends) {
    using Key = std::tuple<Id, Id, std::string>;
    std::map<Key, std::vector<std::uint64_t>> times;
    for (auto end = ends.rbegin(); end != ends.rend(); ++end)
        times[{end->pid, end->tid, end->path}].push_back(end->start);
    std::sort(begun.begin(), begun.end(),
              [](const Process* a, const Process* b) { return a->key() < b->key(); });
    for (Process* const process : begun) {
        std::vector<std::uint64_t>& left = times[{process->pid, process->tid, process->path}];
        if (left.empty()) continue;
        process->end = left.back();
        left.pop_back();
    }
}

std::string PwrHeader::Process::key() const {
    const std::string number = tid != 0 ? std::to_string(tid) + '_' : path + '_';
    return number + std::to_string(pid) + '_' + std::to_string(start);
}

// Each process has a record where it was first seen and one at the end of the block, where they are sorted by
// path, pid and start as texts. A pid can have been used by several.
void PwrHeader::finish() {
    const auto middle = processes.begin() + static_cast<std::ptrdiff_t>((processes.size() + 1) / 2);
    const std::vector<Process> ends(middle, processes.end());
    processes.erase(middle, processes.end());
    std::vector<Process*> begun;
    begun.reserve(processes.size());
    for (Process& process : processes) begun.push_back(&process);
    pair_i(begun, ends);
    begun.clear();
    for (Process& thread : threads) begun.push_back(&thread);
    pair_i(begun, m_threadEnds);
    for (const Process& process : processes) m_byPid[process.pid].push_back(&process);
    for (const Process& thread : threads) m_byTid[thread.tid].push_back(&thread);
    m_places.resize(places);
    for (const auto& [kind, table] : infos)
        for (const auto& [id, info] : table) m_places[info.place] = {kind, id, &info, nullptr};
    for (const std::vector<Process>* const runners : {&processes, &threads})
        for (const Process& runner : *runners) m_places[runner.place].runner = &runner;
}

const PwrHeader::Process* PwrHeader::findRunner_i(const Runners& runners, std::uint64_t id,
                                                  std::uint64_t time) {
    const auto found = runners.find(id);
    if (found == runners.end()) return nullptr;
    const Process* best = found->second.front();
    for (const Process* runner : found->second)
        if (runner->start <= time && (best->start > time || runner->start > best->start)) best = runner;
    return best;
}

const PwrHeader::Info* PwrHeader::find(std::string_view kind, std::uint64_t id) const {
    const auto table = infos.find(kind);
    if (table == infos.end()) return nullptr;
    const auto found = table->second.find(static_cast<Id>(id));
    return found != table->second.end() ? &found->second : nullptr;
}

bool PwrHeader::isNamedBy(std::uint64_t field, const std::vector<PwrAttribute>& attributes) const {
    const auto isText = [](const PwrAttribute& attribute) {
        return attribute.type == vyrta::ATTRIBUTE_KIND_INFO && attribute.value >= FIRST_WRITER_ID;
    };
    if (attributes.empty() || !isText(attributes.back())) return false;
    const Info* const state = find("field", field);
    const Info* const text = find("nameid_attribute", attributes.back().value);
    if (state == nullptr || text == nullptr) return field >= FIRST_WRITER_ID;
    if (state->name != (text->name.empty() ? "NA" : text->name)) return false;
    return field >= FIRST_WRITER_ID || std::count_if(attributes.begin(), attributes.end(), isText) == 1;
}

}  // namespace host::importers
