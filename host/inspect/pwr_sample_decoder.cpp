// Samples of .pwr files: lists of attributes.
#include <bit>
#include <iterator>

#include "host/inspect/pwr_decoder.h"
#include "host/inspect/pwr_fields.h"
#include "pwr/bin/pwr_records.h"

namespace host::inspect {

using namespace vyrta;

namespace {

constexpr std::uint32_t NO_ATTRIBUTE = 0xFFFFFFFF;

// An attribute's name, and for an id the kind of thing that it is an id of.
struct AttributeInfo {
    const char* name;
    const char* kind;
};

constexpr AttributeInfo ATTRIBUTES[] = {
    {"METRIC", "metric"},
    {"ENTITY", "entity"},
    {"FIELD", "field"},
    {"PROCESS", "process"},
    {"THREAD", "thread"},
    {"CALL_STACK_FRAME", nullptr},
    {"QUANTITY", "quantity"},
    {"COLOR", "color"},
    {"INFO", "nameid_attribute"},
    {"INT", nullptr},
    {"UINT", nullptr},
    {"REAL", nullptr},
    {"INT_LOWER_BOUND", nullptr},
    {"INT_UPPER_BOUND", nullptr},
    {"UINT_LOWER_BOUND", nullptr},
    {"UINT_UPPER_BOUND", nullptr},
    {"REAL_LOWER_BOUND", nullptr},
    {"REAL_UPPER_BOUND", nullptr},
    {"DURATION", nullptr},
};

bool isLowerBound(std::uint32_t type) {
    return type == ATTRIBUTE_KIND_INT_LOWER_BOUND || type == ATTRIBUTE_KIND_UINT_LOWER_BOUND ||
           type == ATTRIBUTE_KIND_REAL_LOWER_BOUND;
}

bool isUpperBound(std::uint32_t type) {
    return type > 0 && isLowerBound(type - 1);
}

bool isReal(std::uint32_t type) {
    return type == ATTRIBUTE_KIND_REAL || type == ATTRIBUTE_KIND_REAL_LOWER_BOUND ||
           type == ATTRIBUTE_KIND_REAL_UPPER_BOUND;
}

bool isSigned(std::uint32_t type) {
    return type == ATTRIBUTE_KIND_INT || type == ATTRIBUTE_KIND_INT_LOWER_BOUND ||
           type == ATTRIBUTE_KIND_INT_UPPER_BOUND;
}

// What a quantity can apply to.
bool isValue(std::uint32_t type) {
    return type >= ATTRIBUTE_KIND_INFO && type <= ATTRIBUTE_KIND_REAL_UPPER_BOUND;
}

}  // namespace

void PwrDecoder::showSample_i(const PwrRecord& record) {
    PwrSample sample = readSample(record);
    m_checker.checkVersion(record, sample.version);
    m_line.field("t", sample.time);
    m_line.field("version", sample.version);
    if (sample.count == 0) m_checker.fault(record.offset, "a Sample record has no METRIC attribute");
    std::uint32_t previous = NO_ATTRIBUTE;
    m_line.beginArray("attributes");
    for (std::uint16_t i = 0; i < sample.count; ++i) {
        const auto [type, value] = sample.next();
        printAttribute_i(record, type, value, sample.time, sample.version);
        checkAttribute_i(record, previous, type, value, sample.time);
        previous = type;
    }
    m_line.endArray();
    if (previous == ATTRIBUTE_KIND_QUANTITY || (previous != NO_ATTRIBUTE && isLowerBound(previous)))
        m_checker.fault(record.offset, "a Sample record ends in the middle of a value");
}

void PwrDecoder::printAttribute_i(const PwrRecord& record, std::uint32_t type, std::uint64_t value,
                                  std::uint64_t tsc, std::uint16_t version) {
    m_line.beginObject();
    if (type < std::size(ATTRIBUTES)) {
        m_line.field("type", ATTRIBUTES[type].name);
    } else {
        m_line.field("type", type);
        m_checker.fault(record.offset, "unknown attribute type " + std::to_string(type));
    }
    if (isSigned(type))
        m_line.field("value", static_cast<std::int64_t>(value));
    else if (isReal(type) && version == VERSION_REAL_BITS)
        m_line.field("value", std::bit_cast<double>(value));
    else
        m_line.field("value", value);
    if (type < std::size(ATTRIBUTES) && ATTRIBUTES[type].kind != nullptr) {
        m_line.key("name");
        nameField_i(attributeName_i(ATTRIBUTES[type].kind, value, tsc));
    }
    m_line.endObject();
}

const std::string* PwrDecoder::attributeName_i(std::string_view kind, std::uint64_t id,
                                               std::uint64_t tsc) const {
    if (kind == "process") return m_lives.processAt(static_cast<std::uint32_t>(id), tsc);
    if (kind == "thread") return m_lives.threadAt(static_cast<std::uint32_t>(id), tsc);
    return m_names.find(kind, id);
}

void PwrDecoder::checkAttribute_i(const PwrRecord& record, std::uint32_t previous, std::uint32_t type,
                                  std::uint64_t value, std::uint64_t tsc) {
    const bool isFirst = previous == NO_ATTRIBUTE;
    if (isFirst != (type == ATTRIBUTE_KIND_METRIC))
        m_checker.fault(record.offset, isFirst ? "the first attribute of a Sample record is not METRIC"
                                               : "a Sample record has a second METRIC attribute");
    if (!isFirst && previous == ATTRIBUTE_KIND_QUANTITY && !isValue(type))
        m_checker.fault(record.offset, "a QUANTITY attribute has no value behind it");
    const bool isInRange = !isFirst && isLowerBound(previous);
    if (isInRange ? type != previous + 1 : isUpperBound(type))
        m_checker.fault(record.offset, "the bounds of a range do not stand together");
    if (type < std::size(ATTRIBUTES) && ATTRIBUTES[type].kind != nullptr)
        checkDefined_i(record, ATTRIBUTES[type].kind, value);
    if (type == ATTRIBUTE_KIND_METRIC) m_checker.checkSampleMetric(record, value);
    if (type == ATTRIBUTE_KIND_ENTITY) m_checker.checkTime(record, value, tsc);
}

}  // namespace host::inspect
