#pragma once

#include <cstdint>
#include <string>

#include "pwr/attribute.h"
#include "pwr/process.h"

namespace vyrta {

enum WakelockType : std::uint16_t {
    WAKE_LOCK = 0,
    WAKE_UNLOCK = 1,
    WAKE_LOCK_TIMEOUT = 2,
    WAKE_LOCK_INITIAL = 3,
    WAKE_UNLOCK_ALL = 4,
};

// What a sample and the attributes of its entity say of a wakelock.
struct Wakelock {
    const std::string& name;
    std::uint64_t lockTsc;  // ticks
    std::uint64_t tsc;      // of the release, ticks
    unsigned long storeId;
    std::uint16_t lockType = WAKE_LOCK;
    std::uint16_t unlockType = WAKE_UNLOCK;
    std::uint16_t flag = 1;
    std::uint32_t uid = 0;
    std::uint32_t pid = 0;
    std::uint32_t tid = 0;
    std::uint64_t expires = 0;  // ticks, 0 for never
};

// What a wakelock refers to, each defined in the file before. All give 0, or 1 after a line in the log.
class WakelockDefinitions {
public:
    virtual int defineProcess(const pwr::Process& process) = 0;
    virtual int defineThread(const pwr::Thread& thread) = 0;

    // The package that holds the wakelock; its uid is known.
    virtual int definePackage(const Wakelock& wakelock, const std::string& name) = 0;

protected:
    ~WakelockDefinitions() = default;
};

// Takes what an attribute of the entity says. Gives 0, or 1 after a line in the log.
int readWakelockAttribute(Wakelock& wakelock, const pwr::Attribute& attribute, const pwr::Data& value,
                          WakelockDefinitions& definitions);

}  // namespace vyrta
