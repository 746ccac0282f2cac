#include "host/importers/system_line.h"

#include <cmath>
#include <limits>
#include <map>
#include <utility>

#include "host/base/text.h"
#include "host/emit/json_line.h"
#include "pwr/system_metadata.h"

namespace host::importers {

namespace key = emit::key;
namespace message = emit::message;

namespace {

// A number that a line can hold: results may hold any bits.
template <typename Real>
Real finite(Real value) {
    if (std::isnan(value)) return 0;
    return std::isfinite(value) ? value : std::copysign(std::numeric_limits<Real>::max(), value);
}

void addReal(emit::JsonLine& line, const char* key, float value) {
    std::string text;
    base::appendNumber(text, finite(value));
    line.key(key).raw(text);
}

void addNode(emit::JsonLine& line, int type, std::int64_t id, std::int64_t parent) {
    line.beginList().value(type).value(id).value(parent).endList();
}

// The nodes in their order; a node's children are spread evenly over those of the level above.
void addCounted(emit::JsonLine& line, const SystemDescription& system) {
    const std::pair<int, std::uint32_t> levels[] = {{pwr::TOP_NODE_PACKAGE, system.packageCount},
                                                    {pwr::TOP_NODE_MODULE, system.moduleCount},
                                                    {pwr::TOP_NODE_CORE, system.coreCount},
                                                    {pwr::TOP_NODE_THREAD, system.threadCount}};
    std::int64_t first = 0;  // place of the first node of this level
    std::int64_t firstAbove = 0;
    std::int64_t countAbove = 0;
    for (const auto& [type, count] : levels) {
        if (count == 0) continue;
        for (std::int64_t i = 0; i < count; ++i)
            addNode(line, type, i, countAbove == 0 ? -1 : firstAbove + i * countAbove / count);
        firstAbove = first;
        countAbove = count;
        first += count;
    }
}

void addThreads(emit::JsonLine& line, const std::vector<SystemDescription::Thread>& threads) {
    std::map<std::int64_t, std::int64_t> packages;                        // place by id
    std::map<std::pair<std::int64_t, std::int64_t>, std::int64_t> cores;  // place by package and core
    std::int64_t place = 0;
    std::int64_t id = 0;
    const auto add = [&](int type, std::int64_t node, std::int64_t parent) {
        addNode(line, type, node, parent);
        return place++;
    };
    for (const auto& thread : threads) {
        const auto [package, isNewPackage] = packages.try_emplace(thread.package, 0);
        if (isNewPackage) package->second = add(pwr::TOP_NODE_PACKAGE, thread.package, -1);
        const auto [core, isNewCore] = cores.try_emplace({thread.package, thread.core}, 0);
        if (isNewCore) core->second = add(pwr::TOP_NODE_CORE, thread.core, package->second);
        add(pwr::TOP_NODE_THREAD, id++, core->second);
    }
}

void addVersion(emit::JsonLine& line, const char* key, const SystemDescription::Version& version) {
    line.key(key).beginList();
    line.value(unsigned{version.update}).value(unsigned{version.minor}).value(unsigned{version.major});
    line.endList();
}

void addTimes(emit::JsonLine& line, const SystemDescription& system) {
    addReal(line, "busMHz", system.busMHz);
    addReal(line, "tscMHz", system.tscMHz);
    addReal(line, "lfmMHz", system.lfmMHz);
    addReal(line, "hfmMHz", system.hfmMHz);
    addReal(line, "cpuMHz", system.cpuMHz);
    line.member(key::START, system.start).member(key::STOP, system.stop).member(key::TIME, system.time);
    line.member(key::DURATION_SEC, finite(system.durationSec));
}

}  // namespace

void writeSystem(const SystemDescription& system, emit::Output& output) {
    emit::JsonLine line(key::MESSAGE, message::SYSTEM);
    line.key(key::CPU).beginList();
    for (const std::uint8_t part : system.cpu) line.value(unsigned{part});
    line.endList();
    addVersion(line, "product", system.product);
    addVersion(line, "driver", system.driver);
    line.member(key::PLATFORM, system.platform)
        .member(key::HOST, system.host)
        .member(key::OS_NAME, system.osName);
    line.member(key::OS_TYPE, system.osType).member(key::OS_VERSION, system.osVersion);
    line.key(key::TOPOLOGY).beginList();
    if (system.threads.empty())
        addCounted(line, system);
    else
        addThreads(line, system.threads);
    line.endList();
    addTimes(line, system);
    if (!system.command.empty()) line.list(key::COMMAND, system.command);
    line.member(key::PLATFORM_ID, system.platformId).member(key::CODE_NAME, system.codeName);
    line.member(key::NATIVE_MODEL, system.nativeModel)
        .member(key::PCH_NAMES, system.pchNames)
        .writeTo(output);
}

void writeStop(std::uint64_t stop, double durationSec, emit::Output& output) {
    emit::JsonLine(key::MESSAGE, message::STOP)
        .member(key::TSC, stop)
        .member(key::DURATION_SEC, finite(durationSec))
        .writeTo(output);
}

}  // namespace host::importers
