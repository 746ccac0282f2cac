#include "host/importers/pwr_wakelocks.h"

#include "host/emit/json_line.h"
#include "host/importers/metric_types.h"
#include "pwr/attribute.h"
#include "pwr/metric.h"

namespace host::importers {

namespace key = emit::key;
namespace definition = emit::definition;

using inspect::ByteReader;
using inspect::PwrKind;
using inspect::PwrRecord;

namespace {

// Types of lock and unlock records that differ from the ordinary ones.
constexpr std::uint8_t LOCK_TIMEOUT = 2;
constexpr std::uint8_t LOCK_INITIAL = 3;
constexpr std::uint8_t UNLOCK_ALL = 4;

constexpr std::uint8_t ORDINARY_FLAG = 1;

// A wakelock's three records are shorter, as names have at most 79 bytes.
constexpr std::size_t LONGEST_WAKELOCK = 1024;

void readLock(const PwrRecord& record, Wakelock& wakelock) {
    const inspect::PwrWakelock lock = readWakelock(record);
    wakelock.tid = lock.tid;
    wakelock.pid = lock.pid;
    wakelock.lockTime = lock.time;
    wakelock.lockType = lock.type;
    wakelock.name = lock.name;
    wakelock.isUsers = record.kind == PwrKind::UserWakelock;
    if (!wakelock.isUsers) return;
    wakelock.flag = lock.flag;
    wakelock.uid = lock.uid;
}

void readUnlock(const PwrRecord& record, Wakelock& wakelock) {
    const inspect::PwrWakelock unlock = readWakelock(record);
    wakelock.time = unlock.time;
    wakelock.unlockType = unlock.type;
}

}  // namespace

std::optional<Wakelock> peekWakelock(ContentWindow& block) {
    const std::string_view bytes = block.peek(LONGEST_WAKELOCK);
    ByteReader file(bytes, block.offset());
    std::string fault;
    Wakelock wakelock;
    auto record = inspect::nextPwrRecord(file, fault);
    if (record && record->kind == PwrKind::Package) {
        const inspect::PwrPackage package = readPackage(*record);
        wakelock.uid = package.uid;
        wakelock.package = package.name;
        wakelock.size += record->bytes.size();
        record = inspect::nextPwrRecord(file, fault);
    }
    if (!record || (record->kind != PwrKind::KernelWakelock && record->kind != PwrKind::UserWakelock))
        return std::nullopt;
    readLock(*record, wakelock);
    const PwrKind kind = record->kind;
    wakelock.size += record->bytes.size();
    record = inspect::nextPwrRecord(file, fault);
    if (!record || record->kind != kind) return std::nullopt;
    readUnlock(*record, wakelock);
    wakelock.size += record->bytes.size();
    return wakelock;
}

void PwrWakelockLines::metric(std::uint32_t id, bool isUsers) {
    if (m_acquired == 0) {
        m_acquired = m_lines.newId();
        emit::JsonLine(key::DEFINITION, definition::HANDLE)
            .member(key::ID, m_acquired)
            .member(key::NAME, "Acquired")
            .writeTo(m_output);
    }
    emit::JsonLine(key::DEFINITION, definition::METRIC)
        .member(key::ID, id)
        .member(key::NAME, isUsers ? "User Wakelocks" : "Kernel Wakelocks")
        .member(key::TYPE, int{METRIC_TRANSITION})
        .member(key::CLASS,
                int{isUsers ? pwr::REAL_TABLE_CLASS_USER_WAKELOCK : pwr::REAL_TABLE_CLASS_KERNEL_WAKELOCK})
        .writeTo(m_output);
}

PwrWakelockLines::Id PwrWakelockLines::attribute_i(const char* name, int type) {
    Id& id = m_attributes[name];
    if (id != 0) return id;
    id = m_lines.newId();
    emit::JsonLine line(key::DEFINITION, definition::ATTRIBUTE);
    line.member(key::ID, id).member(key::NAME, name).member(key::TYPE, type).writeTo(m_output);
    return id;
}

PwrWakelockLines::Id PwrWakelockLines::pair_i(const std::string& name, std::uint32_t value) {
    Id& id = m_pairs[{name, value}];
    if (id == 0) id = m_lines.pair(name, value);
    return id;
}

// The attributes by which an entity says who held it, as the stream writes them.
std::string PwrWakelockLines::attributesOf_i(const Wakelock& wakelock) {
    std::string pairs;
    const auto add = [&](Id attribute, Id handle) {
        pairs += (pairs.empty() ? "[" : ",[") + std::to_string(attribute) +
                 ",{\"h\":" + std::to_string(handle) + "}]";
    };
    const auto addNumber = [&](const char* name, const std::string& text, std::uint32_t value) {
        add(attribute_i(name, pwr::ATTRIBUTE_NAME_VALUE), pair_i(text, value));
    };
    if (wakelock.package) m_packages.try_emplace(wakelock.uid, *wakelock.package);
    if (const auto package = m_packages.find(wakelock.uid); package != m_packages.end())
        addNumber("APK", package->second, wakelock.uid);
    if (wakelock.flag != ORDINARY_FLAG) addNumber("User Wakelock Flag", "flag", wakelock.flag);
    const bool isAll = wakelock.unlockType == UNLOCK_ALL;
    const std::uint32_t mask = wakelock.lockType == LOCK_INITIAL   ? (isAll ? 7 : 3)
                               : isAll                             ? UNLOCK_ALL
                               : wakelock.lockType == LOCK_TIMEOUT ? LOCK_TIMEOUT
                                                                   : 0;
    if (mask != 0) addNumber("Wakelock Mask", "mask", mask);
    const Id process = wakelock.pid != 0 ? m_lines.process(wakelock.pid, wakelock.lockTime) : 0;
    if (process != 0) add(attribute_i("Process", pwr::ATTRIBUTE_PROCESS), process);
    const Id thread = wakelock.tid != 0 ? m_lines.thread(wakelock.tid, wakelock.time) : 0;
    if (thread != 0) add(attribute_i("Thread", pwr::ATTRIBUTE_THREAD), thread);
    return pairs;
}

// Of one entity, wakelocks come in the order of time; what does not is of another one with that name.
PwrWakelockLines::Id PwrWakelockLines::entity_i(const Wakelock& wakelock) {
    const std::string attributes = attributesOf_i(wakelock);
    Entity& entity = m_entities[{wakelock.name, attributes}];
    if (entity.id == 0 || wakelock.time <= entity.time) {
        entity.id = m_lines.newId();
        emit::JsonLine line(key::DEFINITION, definition::ENTITY);
        line.member(key::ID, entity.id).member(key::NAME, wakelock.name);
        if (!attributes.empty()) line.key(key::ATTRIBUTES).beginList().raw(attributes).endList();
        line.writeTo(m_output);
    }
    entity.time = wakelock.time;
    return entity.id;
}

void PwrWakelockLines::wakelock(std::uint32_t metric, const Wakelock& wakelock) {
    const Id entity = entity_i(wakelock);
    m_line.begin(metric, wakelock.time);
    m_line.element(entity, 0, wakelock.time - wakelock.lockTime);
    m_line.handle(m_acquired);
    m_line.end();
}

}  // namespace host::importers
