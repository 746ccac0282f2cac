// Constants of the .pwr format, shared by the writer and the decoder. docs/formats/pwr.md describes the file.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vyrta {

// Heads: the first four bytes of a record.
inline constexpr std::uint32_t HEAD_MAGIC = 0x08000000;
inline constexpr std::uint32_t HEAD_MARKER = 0x22000020;
inline constexpr std::uint32_t HEAD_UNTIMED = 0x02400000;
inline constexpr std::uint32_t HEAD_TIMED = 0x02400010;
inline constexpr std::uint32_t HEAD_TIMED_THREAD = 0x02400018;
inline constexpr std::uint32_t HEAD_PROCESS = 0x0240001D;
inline constexpr std::uint32_t HEAD_THREAD = 0x0200001D;

// Places of the length fields. A length counts everything from its own place to the record's end.
inline constexpr std::size_t UNTIMED_LENGTH_AT = 4;
inline constexpr std::size_t TIMED_LENGTH_AT = 12;
inline constexpr std::size_t TIMED_THREAD_LENGTH_AT = 20;
inline constexpr std::size_t PROCESS_LENGTH_AT = 28;

// Records of fixed length.
inline constexpr std::uint64_t MAGIC = 0xADDEDEFA08000000;
inline constexpr std::size_t MAGIC_SIZE = 8;
inline constexpr std::size_t HEAD_MARKER_SIZE = 4 + 4 + 1 + 8 + 8;
inline constexpr std::size_t THREAD_SIZE = 4 + 4 + 4 + 4 + 4 + 8;
inline constexpr std::size_t POWER_THRESHOLD_SIZE = 4 + 2 + 2 + 4 + 2 + 48 + 4;

// Sizes of the other records without the texts and lists at their ends, but with the NUL of a single text.
inline constexpr std::size_t COLLECTION_INFO_SIZE = 29;
inline constexpr std::size_t SYSTEM_INFO_SIZE = 34;
inline constexpr std::size_t HARDWARE_SIZE = 44;
inline constexpr std::size_t PROCESS_SIZE = 33;
inline constexpr std::size_t KERNEL_WAKELOCK_SIZE = 36;
inline constexpr std::size_t USER_WAKELOCK_SIZE = 37;
inline constexpr std::size_t PACKAGE_SIZE = 23;

// Places of the first field of a record's own.
inline constexpr std::size_t UNTIMED_FIELDS_AT = 12;
inline constexpr std::size_t HEAD_MARKER_FIELDS_AT = 9;
inline constexpr std::size_t POWER_THRESHOLD_MHZ_AT = 62;
inline constexpr std::size_t TIME_AT = 4;  // of timed records
inline constexpr std::size_t VERSION_AT = 18;
inline constexpr std::size_t PROCESS_FIELDS_AT = 12;
inline constexpr std::size_t THREAD_FIELDS_AT = 4;
inline constexpr std::size_t WAKELOCK_FIELDS_AT = 4;
inline constexpr std::size_t PACKAGE_FIELDS_AT = 16;

// Places of lengths and counts: u16 each, but a u8 for the collection's name and a u32 for threads.
inline constexpr std::size_t COLLECTION_NAME_LENGTH_AT = 28;
inline constexpr std::size_t SYSTEM_TEXTS_AT = 22;  // four texts, each with its length in front
inline constexpr std::size_t HARDWARE_THREAD_COUNT_AT = 40;
inline constexpr std::size_t INFO_LENGTHS_AT = 36;    // four
inline constexpr std::size_t METRIC_LENGTHS_AT = 40;  // two
inline constexpr std::size_t SAMPLE_COUNT_AT = 20;
inline constexpr std::size_t KERNEL_WAKELOCK_NAME_AT = 33;
inline constexpr std::size_t USER_WAKELOCK_NAME_AT = 34;
inline constexpr std::size_t PACKAGE_NAME_AT = 20;

// Untimed record types.
inline constexpr std::uint16_t TYPE_HARDWARE_CONFIGURATION = 18;
inline constexpr std::uint16_t TYPE_COLLECTION_INFO = 44;
inline constexpr std::uint16_t TYPE_SYSTEM_INFO = 45;
inline constexpr std::uint16_t TYPE_POWER_THRESHOLD = 63;

// Timed record types; samples and metadata have a subtype in the upper half of their tag.
inline constexpr std::uint16_t TYPE_KERNEL_WAKELOCK = 64;
inline constexpr std::uint16_t TYPE_USER_WAKELOCK = 67;
inline constexpr std::uint16_t TYPE_PACKAGE = 0x44;
inline constexpr std::uint32_t TAG_SAMPLE = 0x00060047;
inline constexpr std::uint32_t TAG_INFO_METADATA = 0x00070048;
inline constexpr std::uint32_t TAG_METRIC_METADATA = 0x00080048;

// Format versions: how a record's reals are encoded.
inline constexpr std::uint16_t VERSION_TRUNCATED_REALS = 1;
inline constexpr std::uint16_t VERSION_REAL_BITS = 2;

// The version that a writer of truncated reals, or of whole ones, gives to its records.
inline constexpr std::uint16_t formatVersion(bool isLegacy) {
    return isLegacy ? VERSION_TRUNCATED_REALS : VERSION_REAL_BITS;
}

// Samples.
inline constexpr std::size_t SAMPLE_HEAD_SIZE = 4 + 8 + 2 + 4 + 2 + 2;
inline constexpr std::size_t ATTRIBUTE_SIZE = 4 + 8;
inline constexpr std::uint32_t MAXIMUM_ATTRIBUTE_COUNT = 2048;

// Metadata: the part in front of the names, and the room for the names with their NUL.
inline constexpr std::size_t METADATA_HEAD_SIZE = 44;
inline constexpr std::size_t MAXIMUM_NAMES_SIZE = 400;

// Names of wakelocks and packages, and paths of processes, with their NUL.
inline constexpr std::size_t MAXIMUM_WAKELOCK_NAME_SIZE = 80;
inline constexpr std::size_t MAXIMUM_PATH_SIZE = 30;

// The second word of process and thread records.
inline constexpr std::uint32_t MARK_START = 0x00001000;
inline constexpr std::uint32_t MARK_THREAD_END = 0x00002000;

// No id: the lower 32 bits of -1 in metadata records.
inline constexpr std::uint32_t NO_ID = 0xFFFFFFFF;

// Attribute types of samples. What the value of each holds is told in docs/formats/pwr.md.
enum AttributeKind : std::uint32_t {
    ATTRIBUTE_KIND_METRIC = 0,
    ATTRIBUTE_KIND_ENTITY = 1,
    ATTRIBUTE_KIND_FIELD = 2,
    ATTRIBUTE_KIND_PROCESS = 3,
    ATTRIBUTE_KIND_THREAD = 4,
    ATTRIBUTE_KIND_CALL_STACK_FRAME = 5,
    ATTRIBUTE_KIND_QUANTITY = 6,
    ATTRIBUTE_KIND_COLOR = 7,
    ATTRIBUTE_KIND_INFO = 8,
    ATTRIBUTE_KIND_INT = 9,
    ATTRIBUTE_KIND_UINT = 10,
    ATTRIBUTE_KIND_REAL = 11,
    ATTRIBUTE_KIND_INT_LOWER_BOUND = 12,
    ATTRIBUTE_KIND_INT_UPPER_BOUND = 13,
    ATTRIBUTE_KIND_UINT_LOWER_BOUND = 14,
    ATTRIBUTE_KIND_UINT_UPPER_BOUND = 15,
    ATTRIBUTE_KIND_REAL_LOWER_BOUND = 16,
    ATTRIBUTE_KIND_REAL_UPPER_BOUND = 17,
    ATTRIBUTE_KIND_DURATION = 18,
};

// Metric classes.
enum MetricClass : std::uint16_t {
    METRIC_CLASS_SAMPLED_FINITE_SET_COUNTER = 4,
    METRIC_CLASS_SAMPLED_VALUE = 5,
    METRIC_CLASS_SAMPLED_FINITE_SET_VALUE = 6,
    METRIC_CLASS_TRACED_FINITE_SET_COUNTER = 7,
    METRIC_CLASS_SAMPLED_COUNTER = 8,
    METRIC_CLASS_TRACED_EVENT = 9,
    METRIC_CLASS_UNKNOWN = 10,  // has no info record
};

}  // namespace vyrta
