#include "host/inspect/ztbin_record.h"

#include "plugins/packing.h"

namespace host::inspect {

namespace bin = pwr::bin;
using bin::MsgType;

namespace {

// The length that a payload must have, given its fields; it holds at least the fixed part.
std::size_t expectedLength(MsgType type, std::string_view payload) {
    const auto count = [&payload](std::size_t offset) -> std::size_t {
        return packing::get<std::uint16_t>(payload.data() + offset);
    };
    switch (type) {
        case MsgType::StringStore:
            return bin::STRING_FIXED_LENGTH + count(bin::STRING_LENGTH);
        case MsgType::MetricMeta:
            return bin::METRIC_FIXED_LENGTH +
                   bin::METRIC_ATTRIBUTE_LENGTH * count(bin::METRIC_ATTRIBUTE_COUNT) +
                   bin::METRIC_LEGEND_LENGTH * count(bin::METRIC_LEGEND_COUNT);
        default:
            return payload.size();
    }
}

std::size_t fixedLength(MsgType type) {
    constexpr std::size_t LENGTHS[] = {bin::STRING_FIXED_LENGTH, bin::SYSTEM_LENGTH, bin::DESCRIPTOR_LENGTH,
                                       bin::METRIC_FIXED_LENGTH, bin::DATA_LENGTH};
    return LENGTHS[static_cast<std::size_t>(type)];
}

bool hasFixedLength(MsgType type) {
    return type != MsgType::StringStore && type != MsgType::MetricMeta;
}

}  // namespace

const char* nameOf(MsgType type) {
    constexpr const char* NAMES[] = {"StringStore", "SystemMeta", "DescriptorMeta", "MetricMeta",
                                     "MetricData"};
    return NAMES[static_cast<std::size_t>(type)];
}

std::string faultOfLength(MsgType type, std::string_view payload) {
    const std::size_t fixed = fixedLength(type);
    const bool hasRoom = payload.size() >= fixed;
    std::size_t expected = fixed;
    if (!hasFixedLength(type) && hasRoom) expected = expectedLength(type, payload);
    if (payload.size() == expected) return std::string();
    return std::string("a ") + nameOf(type) + " record has a payload of " + std::to_string(payload.size()) +
           " bytes instead of " + (hasRoom || hasFixedLength(type) ? "" : "at least ") +
           std::to_string(expected);
}

}  // namespace host::inspect
