#include "host/inspect/pwr_fields.h"

#include "pwr/bin/pwr_records.h"

namespace host::inspect {

using namespace vyrta;

PwrCollectionInfo readCollectionInfo(const PwrRecord& record) {
    ByteReader fields = record.fieldsFrom(UNTIMED_FIELDS_AT);
    PwrCollectionInfo info{};
    info.major = fields.get<std::uint16_t>();
    info.minor = fields.get<std::uint16_t>();
    info.update = fields.get<std::uint32_t>();
    fields.getBytes(8);
    info.name = fields.getBytes(fields.get<std::uint8_t>());
    return info;
}

PwrSystemInfo readSystemInfo(const PwrRecord& record) {
    ByteReader fields = record.fieldsFrom(UNTIMED_FIELDS_AT);
    PwrSystemInfo info{};
    info.osCode = fields.get<std::uint16_t>();
    for (std::uint16_t& part : info.osVersion) part = fields.get<std::uint16_t>();
    info.host = getCountedText(fields);
    info.platform = getCountedText(fields);
    info.osName = getCountedText(fields);
    return info;
}

PwrHardware readHardware(const PwrRecord& record) {
    ByteReader fields = record.fieldsFrom(UNTIMED_FIELDS_AT);
    PwrHardware hardware{};
    hardware.tscHz = fields.get<std::uint64_t>();
    hardware.cpuHz = fields.get<std::uint64_t>();
    hardware.highestAddress = fields.get<std::uint64_t>();
    hardware.pointerBits = fields.get<std::uint8_t>();
    for (std::uint8_t& part : hardware.cpu) part = fields.get<std::uint8_t>();
    hardware.threads.resize(fields.get<std::uint32_t>());
    for (PwrHardware::Thread& thread : hardware.threads) {
        fields.get<std::uint8_t>();
        thread.package = fields.get<std::uint8_t>();
        thread.core = fields.get<std::uint8_t>();
        thread.thread = fields.get<std::uint8_t>();
    }
    return hardware;
}

PwrHeadMarker readHeadMarker(const PwrRecord& record) {
    ByteReader fields = record.fieldsFrom(HEAD_MARKER_FIELDS_AT);
    const auto start = fields.get<std::uint64_t>();
    return {start, fields.get<std::uint64_t>()};
}

std::uint32_t readPowerThreshold(const PwrRecord& record) {
    return record.fieldsFrom(POWER_THRESHOLD_MHZ_AT).get<std::uint32_t>();
}

PwrInfo readInfo(const PwrRecord& record) {
    ByteReader fields = record.fieldsFrom(VERSION_AT);
    PwrInfo info{};
    info.version = fields.get<std::uint16_t>();
    info.typeId = fields.get<std::uint32_t>();
    info.value = fields.get<std::uint32_t>();
    info.parent = fields.get<std::uint32_t>();
    info.id = fields.get<std::uint32_t>();
    std::array<std::uint16_t, 4> lengths{};
    for (std::uint16_t& length : lengths) length = fields.get<std::uint16_t>();
    info.name = fields.getBytes(lengths[0]);
    info.shortName = fields.getBytes(lengths[1]);
    info.type = fields.getBytes(lengths[2]);
    info.description = fields.getBytes(lengths[3]);
    return info;
}

PwrMetric readMetric(const PwrRecord& record) {
    ByteReader fields = record.fieldsFrom(VERSION_AT);
    PwrMetric metric{};
    metric.version = fields.get<std::uint16_t>();
    metric.metricClass = fields.get<std::uint32_t>();
    metric.id = fields.get<std::uint32_t>();
    metric.quantity = fields.get<std::uint32_t>();
    metric.tabGroup = fields.get<std::uint32_t>();
    metric.timelineGroup = fields.get<std::uint32_t>();
    const auto nameLength = fields.get<std::uint16_t>();
    const auto displayLength = fields.get<std::uint16_t>();
    metric.name = fields.getBytes(nameLength);
    metric.displayName = fields.getBytes(displayLength);
    return metric;
}

PwrSample readSample(const PwrRecord& record) {
    ByteReader fields = record.fieldsFrom(VERSION_AT);
    const auto version = fields.get<std::uint16_t>();
    const auto count = fields.get<std::uint16_t>();
    return {record.fieldsFrom(TIME_AT).get<std::uint64_t>(), version, count, fields};
}

PwrProcess readProcess(const PwrRecord& record) {
    ByteReader fields = record.fieldsFrom(PROCESS_FIELDS_AT);
    PwrProcess process{};
    process.pid = fields.get<std::uint32_t>();
    fields.get<std::uint32_t>();
    process.time = fields.get<std::uint64_t>();
    fields.getBytes(4);
    process.path = fields.getBytes(fields.left() - 1);
    return process;
}

PwrThread readThread(const PwrRecord& record) {
    ByteReader fields = record.fieldsFrom(THREAD_FIELDS_AT);
    PwrThread thread{};
    thread.mark = fields.get<std::uint32_t>();
    fields.get<std::uint32_t>();
    thread.pid = fields.get<std::uint32_t>();
    thread.tid = fields.get<std::uint32_t>();
    thread.time = fields.get<std::uint64_t>();
    return thread;
}

PwrWakelock readWakelock(const PwrRecord& record) {
    ByteReader fields = record.fieldsFrom(WAKELOCK_FIELDS_AT);
    PwrWakelock wakelock{};
    wakelock.tid = fields.get<std::uint32_t>();
    wakelock.pid = fields.get<std::uint32_t>();
    wakelock.time = fields.get<std::uint64_t>();
    fields.getBytes(4);
    wakelock.type = fields.get<std::uint8_t>();
    if (record.kind == PwrKind::KernelWakelock) {
        wakelock.expires = fields.get<std::uint64_t>();
    } else {
        wakelock.flag = fields.get<std::uint8_t>();
        wakelock.uid = fields.get<std::uint32_t>();
        fields.get<std::uint32_t>();
    }
    wakelock.name = getCountedText(fields);
    return wakelock;
}

PwrPackage readPackage(const PwrRecord& record) {
    ByteReader fields = record.fieldsFrom(PACKAGE_FIELDS_AT);
    const auto uid = fields.get<std::uint32_t>();
    return {record.fieldsFrom(TIME_AT).get<std::uint64_t>(), uid, getCountedText(fields)};
}

}  // namespace host::inspect
