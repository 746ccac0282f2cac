#include "host/inspect/pwr_decoder.h"

#include <iterator>

#include "host/inspect/pwr_fields.h"
#include "plugins/packing.h"
#include "pwr/bin/pwr_records.h"

namespace host::inspect {

using namespace vyrta;

namespace {

constexpr const char* WAKELOCK_TYPES[] = {"wakeLock", "wakeUnlock", "wakeLockTimeout", "wakeLockInitial",
                                          "wakeUnlockAll"};
constexpr const char* WAKELOCK_FLAGS[] = {"wakePartial", "wakeFull", "wakeScreenDim", "wakeScreenBright",
                                          "wakeProximityScreenOff"};

// What the parent of an info record is, by its info type; empty where there is none.
std::string_view parentKind(std::string_view infoType) {
    if (infoType == "timeline_group") return "tab_group";
    if (infoType == "quantity" || infoType == "entity") return infoType;
    return std::string_view();
}

}  // namespace

void decodePwr(std::string_view bytes, JsonLine& line, DamageReport& report) {
    PwrDecoder(bytes, line, report).decode();
}

void PwrDecoder::decode() {
    ByteReader file(m_bytes);
    while (!file.atEnd()) {
        const std::uint64_t offset = file.offset();
        std::string fault;
        const std::optional<PwrRecord> record = nextPwrRecord(file, fault);
        if (!record) return m_checker.fault(offset, fault);
        m_checker.checkPlace(*record);
        m_line.begin();
        m_line.field("offset", record->offset);
        m_line.field("record", nameOf(record->kind));
        showRecord_i(*record);
        m_line.end();
    }
    m_checker.checkEnd(file.offset());
}

void PwrDecoder::showRecord_i(const PwrRecord& record) {
    switch (record.kind) {
        case PwrKind::Magic:
            if (packing::get<std::uint64_t>(record.bytes.data()) != MAGIC)
                m_checker.fault(record.offset, "a Magic record holds something else");
            return;
        case PwrKind::CollectionInfo:
            return showCollectionInfo_i(record);
        case PwrKind::SystemInfo:
            return showSystemInfo_i(record);
        case PwrKind::HardwareConfiguration:
            return showHardware_i(record);
        case PwrKind::HeadMarker:
            return showHeadMarker_i(record);
        case PwrKind::PowerThreshold:
            m_line.field("cpuMHz", readPowerThreshold(record));
            return;
        case PwrKind::Info:
            return showInfo_i(record);
        case PwrKind::Metric:
            return showMetric_i(record);
        case PwrKind::Sample:
            return showSample_i(record);
        case PwrKind::Process:
            return showProcess_i(record);
        case PwrKind::Thread:
            return showThread_i(record);
        case PwrKind::KernelWakelock:
        case PwrKind::UserWakelock:
            return showWakelock_i(record);
        case PwrKind::Package:
            return showPackage_i(record);
    }
}

void PwrDecoder::showCollectionInfo_i(const PwrRecord& record) {
    const PwrCollectionInfo info = readCollectionInfo(record);
    m_line.field("major", info.major);
    m_line.field("minor", info.minor);
    m_line.field("update", info.update);
    m_line.field("name", info.name);
}

void PwrDecoder::showSystemInfo_i(const PwrRecord& record) {
    const PwrSystemInfo info = readSystemInfo(record);
    m_line.field("osCode", info.osCode);
    m_line.list("osVersion", info.osVersion);
    m_line.field("host", info.host);
    m_line.field("platform", info.platform);
    m_line.field("osName", info.osName);
    checkEndsInNul_i(record);
}

void PwrDecoder::showHardware_i(const PwrRecord& record) {
    const PwrHardware hardware = readHardware(record);
    m_line.field("tscHz", hardware.tscHz);
    m_line.field("cpuHz", hardware.cpuHz);
    m_line.field("highestAddress", hardware.highestAddress);
    m_line.field("pointerBits", hardware.pointerBits);
    m_line.list("cpu", hardware.cpu);
    m_line.beginArray("threads");
    for (const PwrHardware::Thread& thread : hardware.threads) {
        m_line.beginObject();
        m_line.field("package", thread.package);
        m_line.field("core", thread.core);
        m_line.field("thread", thread.thread);
        m_line.endObject();
    }
    m_line.endArray();
}

void PwrDecoder::showHeadMarker_i(const PwrRecord& record) {
    const PwrHeadMarker marker = readHeadMarker(record);
    m_checker.setStart(marker.start);
    m_line.field("start", marker.start);
    m_line.field("time", marker.time);
}

void PwrDecoder::showInfo_i(const PwrRecord& record) {
    const PwrInfo info = readInfo(record);
    m_checker.checkVersion(record, info.version);
    m_line.field("type", info.type);
    m_line.field("typeId", info.typeId);
    m_line.field("id", info.id);
    m_line.field("value", info.value);
    idField_i(record, "parent", parentKind(info.type), info.parent);
    m_line.field("name", info.name);
    m_line.field("shortName", info.shortName);
    m_line.field("description", info.description);
    m_line.field("version", info.version);

    checkEndsInNul_i(record);
    if (record.bytes.size() > METADATA_HEAD_SIZE + MAXIMUM_NAMES_SIZE)
        m_checker.fault(record.offset, "the names of an Info record are too long");
    if (info.typeId == 0) {
        m_names.define("info_type", info.value, info.name);
        return;
    }
    const std::string* const definedType = m_names.find("info_type", info.typeId);
    if (definedType == nullptr || *definedType != info.type)
        m_checker.fault(record.offset, "info type " + std::to_string(info.typeId) + " is not defined as \"" +
                                           std::string(info.type) + "\"");
    m_names.define(info.type, info.id, info.name);
    if (info.type == "metric_type") m_names.define("metric_class", info.value, info.name);
}

void PwrDecoder::showMetric_i(const PwrRecord& record) {
    const PwrMetric metric = readMetric(record);
    m_checker.checkVersion(record, metric.version);
    m_line.field("metric", metric.id);
    m_line.field("name", metric.name);
    m_line.field("displayName", metric.displayName);
    m_line.field("class", metric.metricClass);
    m_line.key("className");
    nameField_i(m_names.find("metric_class", metric.metricClass));
    idField_i(record, "quantity", "quantity", metric.quantity);
    idField_i(record, "tabGroup", "tab_group", metric.tabGroup);
    idField_i(record, "timelineGroup", "timeline_group", metric.timelineGroup);
    m_line.field("version", metric.version);

    checkEndsInNul_i(record);
    // The class of metrics whose type is unknown has no record.
    if (metric.metricClass != METRIC_CLASS_UNKNOWN)
        checkDefined_i(record, "metric_class", metric.metricClass);
    m_names.define("metric", metric.id, metric.name);
    m_checker.beginMetric(record, metric.id);
}

void PwrDecoder::showProcess_i(const PwrRecord& record) {
    const PwrProcess process = readProcess(record);
    m_line.field("t", process.time);
    m_line.field("event", m_lives.isEnd(record.offset) ? "end" : "start");
    m_line.field("pid", process.pid);
    m_line.field("path", process.path);
    m_names.define("process", process.pid, process.path);
    checkEndsInNul_i(record);
    if (process.path.size() >= MAXIMUM_PATH_SIZE)
        m_checker.fault(record.offset, "the path of a Process record is too long");
}

void PwrDecoder::showThread_i(const PwrRecord& record) {
    const PwrThread thread = readThread(record);
    const bool isStart = thread.mark == MARK_START;
    const bool isEnd = thread.mark == MARK_THREAD_END;
    m_line.field("t", thread.time);
    m_line.field("event", isStart ? "start" : isEnd ? "end" : "unknown");
    m_line.field("pid", thread.pid);
    m_line.field("tid", thread.tid);
    m_line.key("path");
    nameField_i(isStart ? m_lives.processAt(thread.pid, thread.time)
                        : m_lives.threadAt(thread.tid, thread.time));
    m_names.define("thread", thread.tid, std::string());
    if (!isStart && !isEnd) m_checker.fault(record.offset, "a Thread record is neither start nor end");
}

void PwrDecoder::showWakelock_i(const PwrRecord& record) {
    const PwrWakelock wakelock = readWakelock(record);
    m_line.field("t", wakelock.time);
    m_line.field("tid", wakelock.tid);
    m_line.field("pid", wakelock.pid);
    m_line.field("type",
                 wakelock.type < std::size(WAKELOCK_TYPES) ? WAKELOCK_TYPES[wakelock.type] : "unknown");
    if (record.kind == PwrKind::KernelWakelock) {
        m_line.field("expires", wakelock.expires);
    } else {
        if (wakelock.flag < std::size(WAKELOCK_FLAGS)) {
            m_line.field("flag", WAKELOCK_FLAGS[wakelock.flag]);
        } else {
            m_line.field("flag", wakelock.flag);
        }
        m_line.field("uid", wakelock.uid);
        m_line.key("package");
        nameField_i(m_names.find("package", wakelock.uid));
    }
    m_line.field("name", wakelock.name);
    checkEndsInNul_i(record);
}

void PwrDecoder::showPackage_i(const PwrRecord& record) {
    const PwrPackage package = readPackage(record);
    m_line.field("t", package.time);
    m_line.field("uid", package.uid);
    m_line.field("name", package.name);
    m_names.define("package", package.uid, package.name);
    checkEndsInNul_i(record);
}

void PwrDecoder::idField_i(const PwrRecord& record, const char* field, std::string_view kind,
                           std::uint32_t id) {
    if (id == NO_ID) {
        m_line.nullField(field);
        return;
    }
    m_line.beginObject(field);
    m_line.field("id", id);
    m_line.key("name");
    nameField_i(m_names.find(kind, id));
    m_line.endObject();
    checkDefined_i(record, kind, id);
}

void PwrDecoder::nameField_i(const std::string* name) {
    if (name != nullptr)
        m_line.value(*name);
    else
        m_line.nullValue();
}

void PwrDecoder::checkDefined_i(const PwrRecord& record, std::string_view kind, std::uint64_t id) {
    if (m_names.find(kind, id) == nullptr)
        m_checker.fault(record.offset, std::string(kind) + " " + std::to_string(id) + " is not defined");
}

void PwrDecoder::checkEndsInNul_i(const PwrRecord& record) {
    if (record.bytes.back() != '\0')
        m_checker.fault(record.offset,
                        std::string("the text of a ") + nameOf(record.kind) + " record does not end in NUL");
}

}  // namespace host::inspect
