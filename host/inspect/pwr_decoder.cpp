#include "host/inspect/pwr_decoder.h"

#include <array>
#include <iterator>

#include "import/record_format.h"

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
        decodeRecord_i(*record);
        m_line.end();
    }
    m_checker.checkEnd(file.offset());
}

void PwrDecoder::decodeRecord_i(const PwrRecord& record) {
    switch (record.kind) {
        case PwrKind::Magic:
            if (packing::get<std::uint64_t>(record.bytes.data()) != MAGIC)
                m_checker.fault(record.offset, "a Magic record holds something else");
            return;
        case PwrKind::CollectionInfo:
            return decodeCollectionInfo_i(record);
        case PwrKind::SystemInfo:
            return decodeSystemInfo_i(record);
        case PwrKind::HardwareConfiguration:
            return decodeHardwareConfiguration_i(record);
        case PwrKind::HeadMarker:
            return decodeHeadMarker_i(record);
        case PwrKind::PowerThreshold:
            return decodePowerThreshold_i(record);
        case PwrKind::Info:
            return decodeInfo_i(record);
        case PwrKind::Metric:
            return decodeMetric_i(record);
        case PwrKind::Sample:
            return decodeSample_i(record);
        case PwrKind::Process:
            return decodeProcess_i(record);
        case PwrKind::Thread:
            return decodeThread_i(record);
        case PwrKind::KernelWakelock:
        case PwrKind::UserWakelock:
            return decodeWakelock_i(record);
        case PwrKind::Package:
            return decodePackage_i(record);
    }
}

void PwrDecoder::decodeCollectionInfo_i(const PwrRecord& record) {
    ByteReader fields = record.fieldsFrom(12);
    m_line.field("major", fields.get<std::uint16_t>());
    m_line.field("minor", fields.get<std::uint16_t>());
    m_line.field("update", fields.get<std::uint32_t>());
    fields.getBytes(8);
    m_line.field("name", fields.getBytes(fields.get<std::uint8_t>()));
}

void PwrDecoder::decodeSystemInfo_i(const PwrRecord& record) {
    ByteReader fields = record.fieldsFrom(12);
    m_line.field("osCode", fields.get<std::uint16_t>());
    m_line.beginArray("osVersion");
    for (int i = 0; i < 4; ++i) m_line.value(fields.get<std::uint16_t>());
    m_line.endArray();
    m_line.field("host", getCountedText(fields));
    m_line.field("platform", getCountedText(fields));
    m_line.field("osName", getCountedText(fields));
    checkEndsInNul_i(record);
}

void PwrDecoder::decodeHardwareConfiguration_i(const PwrRecord& record) {
    ByteReader fields = record.fieldsFrom(12);
    m_line.field("tscHz", fields.get<std::uint64_t>());
    m_line.field("cpuHz", fields.get<std::uint64_t>());
    m_line.field("highestAddress", fields.get<std::uint64_t>());
    m_line.field("pointerBits", fields.get<std::uint8_t>());
    m_line.beginArray("cpu");
    for (int i = 0; i < 3; ++i) m_line.value(fields.get<std::uint8_t>());
    m_line.endArray();
    const auto count = fields.get<std::uint32_t>();
    m_line.beginArray("threads");
    for (std::uint32_t i = 0; i < count; ++i) {
        fields.get<std::uint8_t>();
        m_line.beginObject();
        m_line.field("package", fields.get<std::uint8_t>());
        m_line.field("core", fields.get<std::uint8_t>());
        m_line.field("thread", fields.get<std::uint8_t>());
        m_line.endObject();
    }
    m_line.endArray();
}

void PwrDecoder::decodeHeadMarker_i(const PwrRecord& record) {
    ByteReader fields = record.fieldsFrom(9);
    const auto start = fields.get<std::uint64_t>();
    m_checker.setStart(start);
    m_line.field("start", start);
    m_line.field("time", fields.get<std::uint64_t>());
}

void PwrDecoder::decodePowerThreshold_i(const PwrRecord& record) {
    m_line.field("cpuMHz", record.fieldsFrom(62).get<std::uint32_t>());
}

void PwrDecoder::decodeInfo_i(const PwrRecord& record) {
    ByteReader fields = record.fieldsFrom(18);
    const std::uint16_t version = versionField_i(record, fields);
    const auto typeId = fields.get<std::uint32_t>();
    const auto value = fields.get<std::uint32_t>();
    const auto parentId = fields.get<std::uint32_t>();
    const auto id = fields.get<std::uint32_t>();
    std::array<std::uint16_t, 4> lengths{};
    for (std::uint16_t& length : lengths) length = fields.get<std::uint16_t>();
    const std::string_view longName = fields.getBytes(lengths[0]);
    const std::string_view shortName = fields.getBytes(lengths[1]);
    const std::string_view typeName = fields.getBytes(lengths[2]);
    const std::string_view description = fields.getBytes(lengths[3]);

    m_line.field("type", typeName);
    m_line.field("typeId", typeId);
    m_line.field("id", id);
    m_line.field("value", value);
    idField_i(record, "parent", parentKind(typeName), parentId);
    m_line.field("name", longName);
    m_line.field("shortName", shortName);
    m_line.field("description", description);
    m_line.field("version", version);

    checkEndsInNul_i(record);
    if (record.bytes.size() > METADATA_HEAD_SIZE + MAXIMUM_NAMES_SIZE)
        m_checker.fault(record.offset, "the names of an Info record are too long");
    if (typeId == 0) {
        m_names.define("info_type", value, longName);
        return;
    }
    const std::string* const definedType = m_names.find("info_type", typeId);
    if (definedType == nullptr || *definedType != typeName)
        m_checker.fault(record.offset, "info type " + std::to_string(typeId) + " is not defined as \"" +
                                           std::string(typeName) + "\"");
    m_names.define(typeName, id, longName);
    if (typeName == "metric_type") m_names.define("metric_class", value, longName);
}

void PwrDecoder::decodeMetric_i(const PwrRecord& record) {
    ByteReader fields = record.fieldsFrom(18);
    const std::uint16_t version = versionField_i(record, fields);
    const auto metricClass = fields.get<std::uint32_t>();
    const auto id = fields.get<std::uint32_t>();
    const auto quantity = fields.get<std::uint32_t>();
    const auto tabGroup = fields.get<std::uint32_t>();
    const auto timelineGroup = fields.get<std::uint32_t>();
    const auto nameLength = fields.get<std::uint16_t>();
    const auto displayLength = fields.get<std::uint16_t>();
    const std::string_view name = fields.getBytes(nameLength);

    m_line.field("metric", id);
    m_line.field("name", name);
    m_line.field("displayName", fields.getBytes(displayLength));
    m_line.field("class", metricClass);
    m_line.key("className");
    nameField_i(m_names.find("metric_class", metricClass));
    idField_i(record, "quantity", "quantity", quantity);
    idField_i(record, "tabGroup", "tab_group", tabGroup);
    idField_i(record, "timelineGroup", "timeline_group", timelineGroup);
    m_line.field("version", version);

    checkEndsInNul_i(record);
    // The class of metrics whose type is unknown has no record.
    if (metricClass != METRIC_CLASS_UNKNOWN) checkDefined_i(record, "metric_class", metricClass);
    m_names.define("metric", id, name);
    m_checker.beginMetric(record, id);
}

void PwrDecoder::decodeProcess_i(const PwrRecord& record) {
    ByteReader fields = record.fieldsFrom(12);
    const auto pid = fields.get<std::uint32_t>();
    fields.get<std::uint32_t>();
    m_line.field("t", fields.get<std::uint64_t>());
    m_line.field("event", m_lives.isEnd(record.offset) ? "end" : "start");
    m_line.field("pid", pid);
    fields.getBytes(4);
    const std::string_view path = fields.getBytes(fields.left() - 1);
    m_line.field("path", path);
    m_names.define("process", pid, path);
    checkEndsInNul_i(record);
    if (path.size() >= MAXIMUM_PATH_SIZE)
        m_checker.fault(record.offset, "the path of a Process record is too long");
}

void PwrDecoder::decodeThread_i(const PwrRecord& record) {
    ByteReader fields = record.fieldsFrom(4);
    const auto mark = fields.get<std::uint32_t>();
    fields.get<std::uint32_t>();
    const auto pid = fields.get<std::uint32_t>();
    const auto tid = fields.get<std::uint32_t>();
    const auto time = fields.get<std::uint64_t>();
    m_line.field("t", time);
    m_line.field("event", mark == MARK_START ? "start" : mark == MARK_THREAD_END ? "end" : "unknown");
    m_line.field("pid", pid);
    m_line.field("tid", tid);
    m_line.key("path");
    nameField_i(mark == MARK_START ? m_lives.processAt(pid, time) : m_lives.threadAt(tid, time));
    m_names.define("thread", tid, std::string());
    if (mark != MARK_START && mark != MARK_THREAD_END)
        m_checker.fault(record.offset, "a Thread record is neither start nor end");
}

void PwrDecoder::decodeWakelock_i(const PwrRecord& record) {
    ByteReader fields = record.fieldsFrom(4);
    const auto tid = fields.get<std::uint32_t>();
    const auto pid = fields.get<std::uint32_t>();
    m_line.field("t", fields.get<std::uint64_t>());
    m_line.field("tid", tid);
    m_line.field("pid", pid);
    fields.getBytes(4);
    const auto type = fields.get<std::uint8_t>();
    m_line.field("type", type < std::size(WAKELOCK_TYPES) ? WAKELOCK_TYPES[type] : "unknown");
    if (record.kind == PwrKind::KernelWakelock) {
        m_line.field("expires", fields.get<std::uint64_t>());
    } else {
        const auto flag = fields.get<std::uint8_t>();
        if (flag < std::size(WAKELOCK_FLAGS)) {
            m_line.field("flag", WAKELOCK_FLAGS[flag]);
        } else {
            m_line.field("flag", flag);
        }
        const auto uid = fields.get<std::uint32_t>();
        fields.get<std::uint32_t>();
        m_line.field("uid", uid);
        m_line.key("package");
        nameField_i(m_names.find("package", uid));
    }
    m_line.field("name", getCountedText(fields));
    checkEndsInNul_i(record);
}

void PwrDecoder::decodePackage_i(const PwrRecord& record) {
    m_line.field("t", record.fieldsFrom(4).get<std::uint64_t>());
    ByteReader fields = record.fieldsFrom(16);
    const auto uid = fields.get<std::uint32_t>();
    const std::string_view name = getCountedText(fields);
    m_line.field("uid", uid);
    m_line.field("name", name);
    m_names.define("package", uid, name);
    checkEndsInNul_i(record);
}

std::uint16_t PwrDecoder::versionField_i(const PwrRecord& record, ByteReader& fields) {
    const auto version = fields.get<std::uint16_t>();
    m_checker.checkVersion(record, version);
    return version;
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
