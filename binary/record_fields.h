// Records as they are put together, a field at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "plugins/packing.h"
#include "pwr/bin/records.h"

namespace record_fields {

namespace bin = pwr::bin;

// A record with its head and nothing in its payload yet.
inline std::vector<char> makeRecord(bin::MsgType type, std::size_t fixedLength, std::size_t payloadLength) {
    std::vector<char> record(bin::HEAD_LENGTH + fixedLength);
    packing::put(record.data(), static_cast<std::uint16_t>(payloadLength));
    packing::put(record.data() + bin::HEAD_TYPE, type);
    return record;
}

// The payload length, modulo 65,536 like every number of 16 bits in a file.
inline void setPayloadLength(std::vector<char>& record, std::size_t length) {
    packing::put(record.data(), static_cast<std::uint16_t>(length));
}

template <typename T>
inline void putField(std::vector<char>& record, std::size_t field, T value) {
    packing::put(record.data() + bin::HEAD_LENGTH + field, value);
}

template <typename T>
inline void appendField(std::vector<char>& list, T value) {
    list.resize(list.size() + sizeof(T));
    packing::put(list.data() + list.size() - sizeof(T), value);
}

inline std::string_view viewOf(const std::vector<char>& bytes) {
    return std::string_view(bytes.data(), bytes.size());
}

}  // namespace record_fields
