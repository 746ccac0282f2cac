// The records of a .ztbin file; docs/formats/ztbin.md describes the whole file.
//
// A record is a head and a payload, packed and little-endian:
//
//   offset  width  head
//   0       u16    payload length, without the head
//   2       u8     MsgType
//
// The enumerations below give the offset of each field in its payload. "name" stands for a u16 string index,
// "descriptor" for a u16 descriptor index; index 0 refers to nothing.
#pragma once

#include <cstddef>
#include <cstdint>

namespace pwr::bin {

// The kinds of record, which a file holds in this order.
enum class MsgType : std::uint8_t {
    StringStore = 0,     // one string and its index
    SystemMeta = 1,      // the collection
    DescriptorMeta = 2,  // one state descriptor and its index
    MetricMeta = 3,      // one metric
    MetricData = 4,      // one sample of one entity
};

using Index = std::uint16_t;

inline constexpr std::size_t HEAD_LENGTH = 2 + 1;
inline constexpr std::size_t HEAD_TYPE = 2;  // offset of the type in a record

// The largest number that a field of 16 bits holds: payload lengths, indices, counts.
inline constexpr std::size_t MAX_U16 = 0xFFFF;

// StringStore: the string's bytes follow the fixed part.
enum StringStoreField : std::size_t {
    STRING_INDEX = 0,   // u16
    STRING_LENGTH = 2,  // u16, in bytes
    STRING_FIXED_LENGTH = 2 + 2,
};
// The longest string whose record can be parsed.
inline constexpr std::size_t MAX_STRING_LENGTH = MAX_U16 - STRING_FIXED_LENGTH;

enum SystemMetaField : std::size_t {
    SYSTEM_START = 0,             // u64, TSC ticks
    SYSTEM_STOP = 8,              // u64, TSC ticks
    SYSTEM_DURATION = 16,         // f32, seconds
    SYSTEM_HFM_FREQUENCY = 20,    // f32, MHz
    SYSTEM_LFM_FREQUENCY = 24,    // f32, MHz
    SYSTEM_CPU_FREQUENCY = 28,    // f32, MHz
    SYSTEM_BUS_FREQUENCY = 32,    // f32, MHz
    SYSTEM_PLATFORM_ID = 36,      // u32
    SYSTEM_PLATFORM_NAME = 40,    // name
    SYSTEM_CPU_NAME = 42,         // name
    SYSTEM_CPU_NATIVE_NAME = 44,  // name
    SYSTEM_PCH_NAME = 46,         // name
    SYSTEM_HOST_NAME = 48,        // name
    SYSTEM_PACKAGES = 50,         // u16, a count
    SYSTEM_MODULES = 52,          // u16, a count
    SYSTEM_CORES = 54,            // u16, a count
    SYSTEM_THREADS = 56,          // u16, a count
    SYSTEM_OS_TYPE = 58,          // name
    SYSTEM_OS_NAME = 60,          // name
    SYSTEM_OS_NAME_AGAIN = 62,    // name: the OS name once more; the format has no place for the OS version
    SYSTEM_LENGTH = 8 + 8 + 5 * sizeof(float) + 4 + 12 * sizeof(Index),
};
static_assert(SYSTEM_LENGTH == SYSTEM_OS_NAME_AGAIN + sizeof(Index));

enum DescriptorMetaField : std::size_t {
    DESCRIPTOR_INDEX = 0,  // u16
    DESCRIPTOR_STATE = 2,  // name: the state's value
    DESCRIPTOR_NAME = 4,   // name
    DESCRIPTOR_LENGTH = 3 * sizeof(Index),
};

// MetricMeta: the attribute pairs follow the fixed part, then the legend values.
enum MetricMetaField : std::size_t {
    METRIC_ID = 0,                // u32
    METRIC_GROUP = 4,             // name
    METRIC_NAME = 6,              // name
    METRIC_TYPE = 8,              // name: the text of the pwr::Metric::MetricType
    METRIC_QUANTITY_NAME = 10,    // name; means nothing without a quantity
    METRIC_UNITS = 12,            // name; means nothing without a quantity
    METRIC_HAS_QUANTITY = 14,     // u16; 1 with a quantity, else 0 or what the record before held
    METRIC_ATTRIBUTE_COUNT = 16,  // u16
    METRIC_LEGEND_COUNT = 18,     // u16
    METRIC_FIXED_LENGTH = 4 + 8 * sizeof(Index),
    METRIC_ATTRIBUTE_LENGTH = 2 + 2,  // of a pair: name, descriptor
    METRIC_LEGEND_LENGTH = 2,         // of a legend value: name
};
static_assert(METRIC_FIXED_LENGTH == METRIC_LEGEND_COUNT + sizeof(std::uint16_t));

enum MetricDataField : std::size_t {
    DATA_TIMESTAMP = 0,    // u64, TSC ticks
    DATA_DURATION = 8,     // f32, whole microseconds
    DATA_METRIC_ID = 12,   // u32
    DATA_NAME = 16,        // name: of the state in delta metrics, else of the entity
    DATA_DESCRIPTOR = 18,  // descriptor
    DATA_VALUE = 20,       // f32
    DATA_LENGTH = 8 + 4 + 4 + 2 + 2 + 4,
};
static_assert(DATA_LENGTH == DATA_VALUE + sizeof(float));

}  // namespace pwr::bin
