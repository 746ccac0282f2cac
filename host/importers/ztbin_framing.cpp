#include "host/importers/ztbin_framing.h"

#include "plugins/packing.h"

namespace host::importers {

namespace bin = pwr::bin;
using bin::MsgType;

namespace {

constexpr const char* NAMES[] = {"StringStore", "SystemMeta", "DescriptorMeta", "MetricMeta", "MetricData"};
constexpr std::size_t FIXED_LENGTHS[] = {bin::STRING_FIXED_LENGTH, bin::SYSTEM_LENGTH, bin::DESCRIPTOR_LENGTH,
                                         bin::METRIC_FIXED_LENGTH, bin::DATA_LENGTH};

std::size_t lengthOf(MsgType type, std::string_view payload) {
    const std::size_t fixed = FIXED_LENGTHS[static_cast<std::size_t>(type)];
    const auto count = [&](std::size_t at) -> std::size_t {
        return packing::get<std::uint16_t>(payload.data() + at);
    };
    if (payload.size() < fixed) return fixed;
    if (type == MsgType::StringStore) return fixed + count(bin::STRING_LENGTH);
    if (type == MsgType::MetricMeta)
        return fixed + bin::METRIC_ATTRIBUTE_LENGTH * count(bin::METRIC_ATTRIBUTE_COUNT) +
               bin::METRIC_LEGEND_LENGTH * count(bin::METRIC_LEGEND_COUNT);
    return fixed;
}

}  // namespace

bool peekZtbinRecord(BufferedBytes& content, MsgType& type, std::string_view& payload, std::string& fault) {
    std::string_view bytes = content.peek(bin::HEAD_LENGTH);
    if (bytes.empty()) return false;
    if (bytes.size() < bin::HEAD_LENGTH) {
        fault = "the file ends inside the head of a record";
        return false;
    }
    const std::size_t length = packing::get<std::uint16_t>(bytes.data());
    type = packing::get<MsgType>(bytes.data() + bin::HEAD_TYPE);
    if (type > MsgType::MetricData) {
        fault = "unknown record type " + std::to_string(static_cast<unsigned>(type));
        return false;
    }
    bytes = content.peek(bin::HEAD_LENGTH + length);
    if (bytes.size() < bin::HEAD_LENGTH + length) {
        fault = std::string("the file ends inside a ") + NAMES[static_cast<std::size_t>(type)] + " record";
        return false;
    }
    payload = bytes.substr(bin::HEAD_LENGTH, length);
    if (const std::size_t expected = lengthOf(type, payload); expected != length) {
        fault = std::string("a ") + NAMES[static_cast<std::size_t>(type)] + " record has a payload of " +
                std::to_string(length) + " bytes instead of " + std::to_string(expected);
        return false;
    }
    return true;
}

}  // namespace host::importers
