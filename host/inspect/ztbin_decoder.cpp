#include "host/inspect/ztbin_decoder.h"

#include "host/inspect/ztbin_record.h"

namespace host::inspect {

namespace bin = pwr::bin;
using bin::MsgType;

bool ZtbinDecoder::isRecognised(std::string_view bytes) {
    ByteReader file(bytes);
    const auto length = file.get<std::uint16_t>();
    const auto type = file.get<MsgType>();
    const std::string_view payload = file.getBytes(length);
    if (file.failed() || type > MsgType::SystemMeta) return false;
    return faultOfLength(type, payload).empty();
}

void ZtbinDecoder::decode(std::string_view bytes, JsonLine& line, DamageReport& report) {
    m_line = &line;
    m_report = &report;
    m_lastType = MsgType::StringStore;
    m_hasSystemMeta = false;
    ByteReader file(bytes);
    while (!file.atEnd()) {
        const std::optional<Record> record = nextRecord_i(file);
        if (!record) return;
        checkPlace_i(*record);
        line.begin();
        line.field("offset", record->offset);
        line.field("record", nameOf(record->type));
        decodeRecord_i(record->payload, record->type);
        line.end();
    }
    if (!m_hasSystemMeta) report.add(file.offset(), "the file ends without a SystemMeta record");
}

std::optional<ZtbinDecoder::Record> ZtbinDecoder::nextRecord_i(ByteReader& file) {
    const std::uint64_t offset = file.offset();
    const auto length = file.get<std::uint16_t>();
    const auto type = file.get<MsgType>();
    if (file.failed()) {
        m_report->add(offset, "the file ends inside the head of a record");
        return std::nullopt;
    }
    if (type > MsgType::MetricData) {
        m_report->add(offset, "unknown record type " + std::to_string(static_cast<unsigned>(type)));
        return std::nullopt;
    }
    const std::string_view payload = file.getBytes(length);
    if (file.failed()) {
        m_report->add(offset, std::string("the file ends inside a ") + nameOf(type) + " record");
        return std::nullopt;
    }
    const std::string fault = faultOfLength(type, payload);
    if (!fault.empty()) {
        m_report->add(offset, fault);
        return std::nullopt;
    }
    return Record{offset, type, ByteReader(payload, offset + bin::HEAD_LENGTH)};
}

void ZtbinDecoder::checkPlace_i(const Record& record) {
    if (record.type < m_lastType)
        m_report->add(record.offset, std::string("a ") + nameOf(record.type) + " record stands behind a " +
                                         nameOf(m_lastType) + " record");
    m_lastType = record.type;
    if (record.type != MsgType::SystemMeta) return;
    if (m_hasSystemMeta) m_report->add(record.offset, "a second SystemMeta record");
    m_hasSystemMeta = true;
}

void ZtbinDecoder::decodeRecord_i(ByteReader payload, MsgType type) {
    switch (type) {
        case MsgType::StringStore:
            return decodeString_i(payload);
        case MsgType::SystemMeta:
            return decodeSystem_i(payload);
        case MsgType::DescriptorMeta:
            return decodeDescriptor_i(payload);
        case MsgType::MetricMeta:
            return decodeMetric_i(payload);
        case MsgType::MetricData:
            return decodeData_i(payload);
    }
}

void ZtbinDecoder::decodeString_i(ByteReader& payload) {
    const std::uint64_t offset = payload.offset();
    const auto index = payload.get<bin::Index>();
    const std::string_view text = payload.getBytes(payload.get<std::uint16_t>());
    if (offset == bin::HEAD_LENGTH && index == 1) {
        m_strings.clear();
        m_descriptors.clear();
        m_metricNames.clear();
    }
    m_line->field("index", index);
    m_line->field("text", text);
    if (index == 0) {
        m_report->add(offset, "a string has index 0, which refers to nothing");
    } else if (!m_strings.insert_or_assign(index, std::string(text)).second) {
        m_report->add(offset, "string " + std::to_string(index) + " is defined again");
    }
}

void ZtbinDecoder::decodeSystem_i(ByteReader& payload) {
    m_line->field("start", payload.get<std::uint64_t>());
    m_line->field("stop", payload.get<std::uint64_t>());
    m_line->field("durationSec", payload.get<float>());
    for (const char* field : {"hfmMHz", "lfmMHz", "cpuMHz", "busMHz"})
        m_line->field(field, payload.get<float>());
    m_line->field("platformId", payload.get<std::uint32_t>());
    for (const char* field : {"platform", "cpu", "cpuNative", "pch", "host"}) nameField_i(payload, field);
    for (const char* field : {"packages", "modules", "cores", "threads"})
        m_line->field(field, payload.get<std::uint16_t>());
    for (const char* field : {"osType", "osName", "osNameAgain"}) nameField_i(payload, field);
}

void ZtbinDecoder::decodeDescriptor_i(ByteReader& payload) {
    const std::uint64_t offset = payload.offset();
    const auto index = payload.get<bin::Index>();
    m_line->field("index", index);
    Descriptor descriptor;
    descriptor.state = nameField_i(payload, "state");
    descriptor.name = nameField_i(payload, "name");
    if (index == 0) {
        m_report->add(offset, "a descriptor has index 0, which refers to nothing");
    } else if (!m_descriptors.insert_or_assign(index, std::move(descriptor)).second) {
        m_report->add(offset, "descriptor " + std::to_string(index) + " is defined again");
    }
}

void ZtbinDecoder::decodeMetric_i(ByteReader& payload) {
    const std::uint64_t offset = payload.offset();
    const auto id = payload.get<std::uint32_t>();
    m_line->field("metric", id);
    nameField_i(payload, "group");
    std::string name = nameField_i(payload, "name");
    nameField_i(payload, "type");
    nameField_i(payload, "quantity", Need::Optional);
    nameField_i(payload, "units", Need::Optional);
    m_line->field("hasQuantity", payload.get<std::uint16_t>());
    const auto attributes = payload.get<std::uint16_t>();
    const auto legends = payload.get<std::uint16_t>();
    m_line->beginArray("attributes");
    for (unsigned i = 0; i < attributes; ++i) {
        m_line->beginObject();
        nameField_i(payload, "name");
        descriptorField_i(payload);
        m_line->endObject();
    }
    m_line->endArray();
    m_line->beginArray("legend");
    for (unsigned i = 0; i < legends; ++i) nameValue_i(payload, Need::Required);
    m_line->endArray();
    if (!m_metricNames.insert_or_assign(id, std::move(name)).second)
        m_report->add(offset, "metric " + std::to_string(id) + " is described again");
}

void ZtbinDecoder::decodeData_i(ByteReader& payload) {
    m_line->field("t", payload.get<std::uint64_t>());
    m_line->field("duration", payload.get<float>());
    const std::uint64_t offset = payload.offset();
    const auto id = payload.get<std::uint32_t>();
    m_line->field("metric", id);
    const auto metric = m_metricNames.find(id);
    if (metric != m_metricNames.end()) {
        m_line->field("metricName", metric->second);
    } else {
        m_line->nullField("metricName");
        m_report->add(offset, "metric " + std::to_string(id) + " is not described");
    }
    nameField_i(payload, "name");
    descriptorField_i(payload);
    m_line->field("value", payload.get<float>());
}

const std::string* ZtbinDecoder::nameValue_i(ByteReader& payload, Need need) {
    const std::uint64_t offset = payload.offset();
    const auto index = payload.get<bin::Index>();
    const auto found = m_strings.find(index);
    if (index != 0 && found != m_strings.end()) {
        m_line->value(found->second);
        return &found->second;
    }
    m_line->nullValue();
    if (index != 0 || need == Need::Required)
        m_report->add(offset, "string " + std::to_string(index) + " is not defined");
    return nullptr;
}

std::string ZtbinDecoder::nameField_i(ByteReader& payload, const char* field, Need need) {
    m_line->key(field);
    const std::string* const text = nameValue_i(payload, need);
    return text != nullptr ? *text : std::string();
}

void ZtbinDecoder::descriptorField_i(ByteReader& payload) {
    const std::uint64_t offset = payload.offset();
    const auto index = payload.get<bin::Index>();
    const auto found = m_descriptors.find(index);
    if (found == m_descriptors.end()) {
        m_line->nullField("descriptor");
        if (index != 0) m_report->add(offset, "descriptor " + std::to_string(index) + " is not defined");
        return;
    }
    m_line->beginObject("descriptor");
    m_line->field("index", index);
    m_line->field("state", found->second.state);
    m_line->field("name", found->second.name);
    m_line->endObject();
}

}  // namespace host::inspect
