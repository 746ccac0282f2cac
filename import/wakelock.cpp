#include "import/wakelock.h"

#include "import/vyrta_log.h"

namespace vyrta {

namespace {

int readPair(Wakelock& wakelock, const pwr::Attribute& attribute, const pwr::Data& value,
             WakelockDefinitions& definitions) {
    const pwr::DataHandle* handle = nullptr;
    if (value.toHandle(handle) != 0)
        return VYRTA_FAIL("Failed to get wakelock data handle for info attribute. TSC: %lu\n", wakelock.tsc);
    const auto* const pair = dynamic_cast<const pwr::NameValuePair*>(handle);
    if (pair == nullptr) return VYRTA_FAIL("Failed to get data for info attribute\n");
    const std::string& kind = attribute.getName();
    const std::int64_t number = pair->getValue();
    VYRTA_DEBUG("Wakelock info. Type: %s, name: %s, idType: %s,id: %d. TSC: %lu\n", kind.c_str(),
                pair->getInfoName().c_str(), pair->getValueDesc().c_str(), static_cast<int>(number),
                wakelock.tsc);
    if (kind == "APK") {
        wakelock.uid = static_cast<std::uint32_t>(number);
        if (definitions.definePackage(wakelock, pair->getInfoName()) != 0)
            return VYRTA_FAIL("Unable to write APK metadata sample. '%s' current TSC: %lu\n",
                              pair->getInfoName().c_str(), wakelock.tsc);
    } else if (kind == "User Wakelock Flag") {
        wakelock.flag = static_cast<std::uint16_t>(number);
    } else if (kind == "Wakelock Mask") {
        if (number == 2) {
            wakelock.lockType = WAKE_LOCK_TIMEOUT;
            wakelock.expires = wakelock.tsc;
        }
        if (number == 3 || number == 7) wakelock.lockType = WAKE_LOCK_INITIAL;
        if (number == 4 || number == 7) wakelock.unlockType = WAKE_UNLOCK_ALL;
    }
    return 0;
}

int readThread(Wakelock& wakelock, const pwr::Data& value, WakelockDefinitions& definitions) {
    const pwr::DataHandle* handle = nullptr;
    if (value.toHandle(handle) != 0)
        return VYRTA_FAIL("Failed to get wakelock data for thread attribute handle. TSC: %lu\n",
                          wakelock.tsc);
    const auto* const thread = dynamic_cast<const pwr::Thread*>(handle);
    if (thread == nullptr)
        return VYRTA_FAIL("Vyrta writer plugin: Unable to retrieve data handle. TSC: %lu\n", wakelock.tsc);
    wakelock.tid = static_cast<std::uint32_t>(thread->getTid());
    if (definitions.defineThread(*thread) != 0)
        return VYRTA_FAIL("Failed to handle thread information. TSC: %lu\n", wakelock.tsc);
    return 0;
}

int readProcess(Wakelock& wakelock, const pwr::Data& value, WakelockDefinitions& definitions) {
    const pwr::DataHandle* handle = nullptr;
    if (value.toHandle(handle) != 0)
        return VYRTA_FAIL("Failed to get wakelock data handle for process attribute. TSC: %lu\n",
                          wakelock.tsc);
    const auto* const process = dynamic_cast<const pwr::Process*>(handle);
    if (process == nullptr)
        return VYRTA_FAIL("Vyrta writer plugin: Unable to retrieve data handle. TSC: %lu\n", wakelock.tsc);
    wakelock.pid = static_cast<std::uint32_t>(process->getPid());
    if (definitions.defineProcess(*process) != 0)
        return VYRTA_FAIL("Failed to handle process information. TSC: %lu\n", wakelock.tsc);
    if (wakelock.lockTsc < process->getStartTime())
        return VYRTA_FAIL(
            "Invalid wakelock locking process start time for wakelock: '%s'. Process pid: %d. Process start "
            "TSC: %lu > Wakelock lock TSC: %lu!\n",
            wakelock.name.c_str(), process->getPid(), process->getStartTime(), wakelock.lockTsc);
    return 0;
}

}  // namespace

int readWakelockAttribute(Wakelock& wakelock, const pwr::Attribute& attribute, const pwr::Data& value,
                          WakelockDefinitions& definitions) {
    switch (attribute.m_attributeType) {
        case pwr::ATTRIBUTE_NAME_VALUE:
            return readPair(wakelock, attribute, value, definitions);
        case pwr::ATTRIBUTE_THREAD:
            return readThread(wakelock, value, definitions);
        case pwr::ATTRIBUTE_PROCESS:
            return readProcess(wakelock, value, definitions);
        default:
            return 0;
    }
}

}  // namespace vyrta
