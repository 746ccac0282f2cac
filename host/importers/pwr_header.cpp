#include "host/importers/pwr_header.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "plugins/numbers.h"
#include "pwr/bin/pwr_records.h"

namespace host::importers {

using inspect::ByteReader;
using inspect::getCountedText;
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
            ByteReader fields = record.fieldsFrom(12);
            system.product.major = fields.get<std::uint16_t>();
            system.product.minor = static_cast<std::uint8_t>(fields.get<std::uint16_t>());
            system.product.update = static_cast<std::uint8_t>(fields.get<std::uint32_t>());
            return;
        }
        case PwrKind::SystemInfo:
            return takeSystem_i(record);
        case PwrKind::HardwareConfiguration:
            return takeHardware_i(record);
        case PwrKind::HeadMarker: {
            ByteReader fields = record.fieldsFrom(9);
            system.start = fields.get<std::uint64_t>();
            constexpr std::uint64_t UNIT = 100;
            const auto time = fields.get<std::uint64_t>();
            system.time = time > UINT64_MAX / UNIT ? UINT64_MAX : time * UNIT;
            return;
        }
        case PwrKind::PowerThreshold: {
            const auto frequency = static_cast<float>(record.fieldsFrom(62).get<std::uint32_t>());
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
    ByteReader fields = record.fieldsFrom(12);
    m_osCode = fields.get<std::uint16_t>();
    for (int i = 0; i < 4; ++i)
        system.osVersion += (i > 0 ? "." : "") + std::to_string(fields.get<std::uint16_t>());
    system.host = getCountedText(fields);
    system.platform = getCountedText(fields);
    system.osName = getCountedText(fields);
}

void PwrHeader::takeHardware_i(const PwrRecord& record) {
    ByteReader fields = record.fieldsFrom(12);
    system.tscMHz = megahertzOf(fields.get<std::uint64_t>());
    fields.getBytes(16);
    const auto pointerBits = fields.get<std::uint8_t>();
    system.osType = processorOf(m_osCode, pointerBits);
    for (std::uint8_t& part : system.cpu) part = fields.get<std::uint8_t>();
    for (auto left = fields.get<std::uint32_t>(); left > 0 && !fields.atEnd(); --left) {
        fields.get<std::uint8_t>();
        SystemDescription::Thread thread;
        thread.package = fields.get<std::uint8_t>();
        thread.core = fields.get<std::uint8_t>();
        fields.get<std::uint8_t>();
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
    ByteReader fields = record.fieldsFrom(20);
    const auto typeId = fields.get<std::uint32_t>();
    Info info;
    info.value = fields.get<std::uint32_t>();
    info.parent = fields.get<std::uint32_t>();
    const auto id = fields.get<std::uint32_t>();
    std::size_t lengths[4];
    for (std::size_t& length : lengths) length = fields.get<std::uint16_t>();
    info.name = fields.getBytes(lengths[0]);
    info.shortName = fields.getBytes(lengths[1]);
    const std::string kind(fields.getBytes(lengths[2]));
    info.description = fields.getBytes(lengths[3]);
    if (typeId == 0 || kind == "metric_type") return;
    info.place = places++;
    if (kind != "quantity") note_i(id);
    infos[kind].insert_or_assign(id, std::move(info));
}

void PwrHeader::takeProcess_i(const PwrRecord& record) {
    ByteReader fields = record.fieldsFrom(12);
    Process process;
    process.pid = fields.get<std::uint32_t>();
    fields.get<std::uint32_t>();
    process.start = fields.get<std::uint64_t>();
    fields.getBytes(4);
    process.path = fields.getBytes(fields.left() - 1);
    process.place = places++;
    processes.push_back(std::move(process));
}

void PwrHeader::takeThread_i(const PwrRecord& record) {
    ByteReader fields = record.fieldsFrom(4);
    const auto mark = fields.get<std::uint32_t>();
    fields.get<std::uint32_t>();
    Process thread;
    thread.pid = fields.get<std::uint32_t>();
    thread.tid = fields.get<std::uint32_t>();
    thread.start = fields.get<std::uint64_t>();
    if (mark == vyrta::MARK_THREAD_END) {
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
    if (field >= FIRST_WRITER_ID) return true;
    const Info* const state = find("field", field);
    const Info* const text = find("nameid_attribute", attributes.back().value);
    return state != nullptr && text != nullptr && state->name == (text->name.empty() ? "NA" : text->name) &&
           std::count_if(attributes.begin(), attributes.end(), isText) == 1;
}

}  // namespace host::importers
