// Wakelocks: a lock and an unlock record for each, and the packages that held them.
#include "import/once_tags.h"
#include "import/vyrta_log.h"
#include "import/vyrtawriter_plugin.h"
#include "import/wakelock.h"
#include "plugins/packing.h"
#include "pwr/utilities.h"

using namespace vyrta;

namespace {

// For debug lines only.
const char* const WAKELOCK_TYPES[] = {"wakeLock", "wakeUnlock", "wakeLockTimeout", "wakeLockInitial",
                                      "wakeUnlockAll"};
const char* const WAKELOCK_FLAGS[] = {"wakePartial", "wakeFull", "wakeScreenDim", "wakeScreenBright",
                                      "wakeProximityScreenOff"};

const char* wakelockName(const char* const (&names)[5], unsigned int value) {
    return value < std::size(names) ? names[value] : "";
}

// Head of both kinds: head, tid, pid, TSC, length, record type, wakelock type.
char* putWakelockHead(char* out, std::uint32_t tid, std::uint32_t pid, std::uint64_t tsc, std::size_t size,
                      std::uint16_t recordType, std::uint16_t type) {
    out = packing::put(out, HEAD_TIMED_THREAD);
    out = packing::put(out, tid);
    out = packing::put(out, pid);
    out = packing::put(out, tsc);
    out = packing::put(out, static_cast<std::uint16_t>(size - TIMED_THREAD_LENGTH_AT));
    out = packing::put(out, recordType);
    return packing::put(out, static_cast<std::uint8_t>(type));
}

// u16 length with the NUL, then the bytes with the NUL.
void putName(char* out, const std::string& name) {
    out = packing::put(out, static_cast<std::uint16_t>(name.size() + 1));
    packing::putBytes(out, name.c_str(), name.size() + 1);
}

int writeKernelWakelock(VyrtaWriter& writer, const Wakelock& wakelock) {
    VYRTA_DEBUG("Processing kernel wakelock.'%s' TSC: %lu\n", wakelock.name.c_str(), wakelock.tsc);
    const auto write = [&](std::uint64_t tsc, std::uint16_t type) {
        return writer.writeKernelWakelockSampleNonGeneric(tsc, wakelock.name, wakelock.pid, wakelock.tid,
                                                          wakelock.expires, type, wakelock.storeId);
    };
    if (write(wakelock.lockTsc, wakelock.lockType) != 0)
        return VYRTA_FAIL("Failed to write lock state for wakelock '%s' TSC: %lu\n", wakelock.name.c_str(),
                          wakelock.lockTsc);
    // A lock with a timeout ends by itself.
    if (wakelock.unlockType == WAKE_LOCK_TIMEOUT) return 0;
    if (write(wakelock.tsc, wakelock.unlockType) != 0)
        return VYRTA_FAIL("Failed to write unlock state for wakelock '%s' TSC: %lu\n", wakelock.name.c_str(),
                          wakelock.tsc);
    return 0;
}

int writeUserWakelock(VyrtaWriter& writer, const Wakelock& wakelock) {
    VYRTA_DEBUG("Processing user wakelock.'%s' TSC: %lu\n", wakelock.name.c_str(), wakelock.tsc);
    const auto write = [&](std::uint64_t tsc, std::uint16_t type) {
        return writer.writeUserWakelockSampleNonGeneric(tsc, wakelock.name, wakelock.uid, wakelock.pid,
                                                        wakelock.tid, 0, type, wakelock.flag,
                                                        wakelock.storeId);
    };
    if (write(wakelock.lockTsc, wakelock.lockType) != 0)
        return VYRTA_FAIL("Failed to write lock state for user wakelock '%s' TSC: %lu\n",
                          wakelock.name.c_str(), wakelock.lockTsc);
    if (write(wakelock.tsc, wakelock.unlockType) != 0)
        return VYRTA_FAIL("Failed to write unlock state for user wakelock '%s' TSC: %lu\n",
                          wakelock.name.c_str(), wakelock.tsc);
    return 0;
}

}  // namespace

int VyrtaWriter::handleWakelockSampleNonGeneric(const pwr::Metric* metric) {
    const pwr::Metric::Sample& sample = metric->getData();
    if (sample.elements.size() != 1) return VYRTA_FAIL("Invalid wakelock Sample.\n");
    const pwr::DataElement& element = *sample.elements.front();
    const pwr::DataHandle* handle = nullptr;
    if (element.getValue()->toHandle(handle) == 0 && handle != nullptr && handle->getName() == "Released")
        return 0;
    const pwr::EntityHandle* const entity = element.getEntity();
    return handleWakelockSampleNonGenericHelper(metric->m_id, metric->m_tableClass, entity, sample.timestamp,
                                                element.getDuration(), metric->m_id, entity->begin(),
                                                entity->end());
}

int VyrtaWriter::handleWakelockSampleNonGenericHelper(unsigned long /*metricId*/,
                                                      pwr::RealTableClass tableClass,
                                                      const pwr::EntityHandle* entity, unsigned long tsc,
                                                      unsigned long duration, unsigned long storeId,
                                                      StaticIterator begin, StaticIterator end) {
    const std::string& name = entity->getName();
    VYRTA_DEBUG("Processing wakelock.'%s' TSC: %lu\n", name.c_str(), tsc);
    if (checkTscMonotonicity(tsc, "WAKELOCK_" + getNameIdKey(name, entity->getId())) != 0)
        return VYRTA_FAIL("Invalid TSC value.'%s' TSC: %lu\n", name.c_str(), tsc);
    Wakelock wakelock{name, tsc - duration, tsc, storeId};
    for (StaticIterator it = begin; it != end; ++it)
        if (it->first != nullptr &&
            readWakelockAttribute(wakelock, *it->first, it->second, m_definitions) != 0)
            return 1;

    if (tableClass == pwr::REAL_TABLE_CLASS_KERNEL_WAKELOCK && writeKernelWakelock(*this, wakelock) != 0)
        return 1;
    if (tableClass == pwr::REAL_TABLE_CLASS_USER_WAKELOCK && writeUserWakelock(*this, wakelock) != 0)
        return 1;
    pwr::executeOnce<ONCE_WAKELOCK_WRITTEN>([] { VyrtaWriterImpl::m_hasData = true; });
    return 0;
}

// Package metadata, 23 bytes and the name:
//
//   Offset  Width  Value
//   0       u32    0x02400010
//   4       u64    TSC
//   12      u16    name length plus 11
//   14      u16    0x44
//   16      u32    package uid
//   20      u16    name length plus 1
//   22      bytes  name and NUL, at most 80 bytes
int VyrtaWriter::writeAPKMetadataNonGeneric(unsigned long tsc, unsigned int uid, const std::string& name,
                                            unsigned long storeId) {
    const int shownUid = static_cast<int>(uid);
    const auto [known, isNew] = m_packageNames.try_emplace(uid, name);
    if (!isNew && known->second == name) {
        VYRTA_DEBUG("APK metadata already written.'%s':'%d'. TSC: %lu\n", name.c_str(), shownUid, tsc);
        return 0;
    }
    if (!isNew)
        return VYRTA_FAIL(
            "APK name conflict! Previously processed APK name '%s' for uid '%d' does not match current APK "
            "name '%s' with same uid. TSC: %lu\n",
            known->second.c_str(), shownUid, name.c_str(), tsc);
    VYRTA_DEBUG("Writing APK metadata.'%s':'%d'. TSC: %lu\n", name.c_str(), shownUid, tsc);
    if (name.size() >= MAXIMUM_WAKELOCK_NAME_SIZE)
        return VYRTA_FAIL("User wakelock package name too long, TSC: %lu\n", tsc);
    char record[22 + MAXIMUM_WAKELOCK_NAME_SIZE];
    const std::size_t size = 22 + name.size() + 1;
    char* out = packing::put(record, HEAD_TIMED);
    out = packing::put<std::uint64_t>(out, tsc);
    out = packing::put(out, static_cast<std::uint16_t>(size - TIMED_LENGTH_AT));
    out = packing::put(out, TYPE_PACKAGE);
    out = packing::put<std::uint32_t>(out, uid);
    putName(out, name);
    return writeRecord(storeId, record, static_cast<unsigned int>(size));
}

// Kernel wakelock, 36 bytes and the name:
//
//   Offset  Width  Value
//   0       u32    0x02400018
//   4       u32    tid
//   8       u32    pid
//   12      u64    TSC
//   20      u16    name length plus 16
//   22      u16    64
//   24      u8     wakelock type
//   25      u64    TSC of its expiry, 0 for none
//   33      u16    name length plus 1
//   35      bytes  name and NUL, at most 80 bytes
int VyrtaWriter::writeKernelWakelockSampleNonGeneric(unsigned long tsc, const std::string& name,
                                                     unsigned int pid, unsigned int tid,
                                                     unsigned long expires, unsigned short type,
                                                     unsigned long storeId) {
    VYRTA_DEBUG(
        "Processing kernel wakelock. name:'%s', type:'%s', expires: '%lu', pid:'%d', tid:'%d'. TSC: %lu\n",
        name.c_str(), wakelockName(WAKELOCK_TYPES, type), expires, static_cast<int>(pid),
        static_cast<int>(tid), tsc);
    if (name.size() >= MAXIMUM_WAKELOCK_NAME_SIZE)
        return VYRTA_FAIL("Kernel wakelock name too long, TSC: %lu\n", tsc);
    char record[35 + MAXIMUM_WAKELOCK_NAME_SIZE];
    const std::size_t size = 35 + name.size() + 1;
    char* out = putWakelockHead(record, tid, pid, tsc, size, TYPE_KERNEL_WAKELOCK, type);
    out = packing::put<std::uint64_t>(out, expires);
    putName(out, name);
    return writeRecord(storeId, record, static_cast<unsigned int>(size));
}

// User wakelock, 37 bytes and the name:
//
//   Offset  Width  Value
//   0       u32    0x02400018
//   4       u32    tid
//   8       u32    pid
//   12      u64    TSC
//   20      u16    name length plus 17
//   22      u16    67
//   24      u8     wakelock type
//   25      u8     flag
//   26      u32    package uid
//   30      u32    0
//   34      u16    name length plus 1
//   36      bytes  name and NUL, at most 80 bytes
int VyrtaWriter::writeUserWakelockSampleNonGeneric(unsigned long tsc, const std::string& name,
                                                   unsigned int uid, unsigned int pid, unsigned int tid,
                                                   unsigned int reserved, unsigned short type,
                                                   unsigned short flag, unsigned long storeId) {
    const auto package = [&] {
        const auto found = m_packageNames.find(uid);
        return found != m_packageNames.end() ? found->second.c_str() : "";
    };
    VYRTA_DEBUG(
        "Processing user wakelock. name:'%s', type:'%s', flag:'%s'. uid:'%s:%d', pid:'%d', tid:'%d'. TSC: "
        "%lu\n",
        name.c_str(), wakelockName(WAKELOCK_TYPES, type), wakelockName(WAKELOCK_FLAGS, flag), package(),
        static_cast<int>(uid), static_cast<int>(pid), static_cast<int>(tid), tsc);
    if (name.size() >= MAXIMUM_WAKELOCK_NAME_SIZE)
        return VYRTA_FAIL("User wakelock name too long, TSC: %lu\n", tsc);
    char record[36 + MAXIMUM_WAKELOCK_NAME_SIZE];
    const std::size_t size = 36 + name.size() + 1;
    char* out = putWakelockHead(record, tid, pid, tsc, size, TYPE_USER_WAKELOCK, type);
    out = packing::put(out, static_cast<std::uint8_t>(flag));
    out = packing::put<std::uint32_t>(out, uid);
    out = packing::put<std::uint32_t>(out, reserved);
    putName(out, name);
    return writeRecord(storeId, record, static_cast<unsigned int>(size));
}
