#include "host/inspect/pwr_record.h"

#include <array>

#include "pwr/bin/pwr_records.h"

namespace host::inspect {

using namespace vyrta;

namespace {

struct KindInfo {
    const char* name;
    std::size_t fixedSize;  // all fields but the texts and lists at the end, with the NUL of a single text
};

constexpr KindInfo KINDS[] = {
    {"Magic", MAGIC_SIZE},
    {"CollectionInfo", COLLECTION_INFO_SIZE},
    {"SystemInfo", SYSTEM_INFO_SIZE},
    {"HardwareConfiguration", HARDWARE_SIZE},
    {"HeadMarker", HEAD_MARKER_SIZE},
    {"PowerThreshold", POWER_THRESHOLD_SIZE},
    {"Info", METADATA_HEAD_SIZE + 1},
    {"Metric", METADATA_HEAD_SIZE + 1},
    {"Sample", SAMPLE_HEAD_SIZE},
    {"Process", PROCESS_SIZE},
    {"Thread", THREAD_SIZE},
    {"KernelWakelock", KERNEL_WAKELOCK_SIZE},
    {"UserWakelock", USER_WAKELOCK_SIZE},
    {"Package", PACKAGE_SIZE},
};

const KindInfo& infoOf(PwrKind kind) {
    return KINDS[static_cast<std::size_t>(kind)];
}

// How a head gives the length of its record: fixed, or by a length field that counts from its own place.
struct Frame {
    std::uint32_t head;
    std::size_t fixedSize;  // 0 if there is a length field
    std::size_t lengthAt;
};

constexpr Frame FRAMES[] = {
    {HEAD_MAGIC, MAGIC_SIZE, 0},
    {HEAD_MARKER, HEAD_MARKER_SIZE, 0},
    {HEAD_UNTIMED, 0, UNTIMED_LENGTH_AT},
    {HEAD_TIMED, 0, TIMED_LENGTH_AT},
    {HEAD_TIMED_THREAD, 0, TIMED_THREAD_LENGTH_AT},
    {HEAD_PROCESS, 0, PROCESS_LENGTH_AT},
    {HEAD_THREAD, THREAD_SIZE, 0},
};

template <typename T>
T fieldAt(std::string_view bytes, std::size_t at) {
    return at + sizeof(T) <= bytes.size() ? packing::get<T>(bytes.data() + at) : T{};
}

const Frame* findFrame(std::uint32_t head) {
    for (const Frame& frame : FRAMES)
        if (frame.head == head) return &frame;
    return nullptr;
}

std::optional<PwrKind> untimedKind(std::uint16_t type) {
    switch (type) {
        case TYPE_COLLECTION_INFO:
            return PwrKind::CollectionInfo;
        case TYPE_SYSTEM_INFO:
            return PwrKind::SystemInfo;
        case TYPE_HARDWARE_CONFIGURATION:
            return PwrKind::HardwareConfiguration;
        case TYPE_POWER_THRESHOLD:
            return PwrKind::PowerThreshold;
        default:
            return std::nullopt;
    }
}

std::optional<PwrKind> timedKind(std::uint32_t tag) {
    if (static_cast<std::uint16_t>(tag) == TYPE_PACKAGE) return PwrKind::Package;
    switch (tag) {
        case TAG_SAMPLE:
            return PwrKind::Sample;
        case TAG_INFO_METADATA:
            return PwrKind::Info;
        case TAG_METRIC_METADATA:
            return PwrKind::Metric;
        default:
            return std::nullopt;
    }
}

std::optional<PwrKind> wakelockKind(std::uint16_t type) {
    if (type == TYPE_KERNEL_WAKELOCK) return PwrKind::KernelWakelock;
    if (type == TYPE_USER_WAKELOCK) return PwrKind::UserWakelock;
    return std::nullopt;
}

std::optional<PwrKind> kindOf(std::uint32_t head, std::string_view bytes) {
    switch (head) {
        case HEAD_MAGIC:
            return PwrKind::Magic;
        case HEAD_MARKER:
            return PwrKind::HeadMarker;
        case HEAD_UNTIMED:
            return untimedKind(fieldAt<std::uint16_t>(bytes, UNTIMED_LENGTH_AT + 2));
        case HEAD_TIMED:
            return timedKind(fieldAt<std::uint32_t>(bytes, TIMED_LENGTH_AT + 2));
        case HEAD_TIMED_THREAD:
            return wakelockKind(fieldAt<std::uint16_t>(bytes, TIMED_THREAD_LENGTH_AT + 2));
        case HEAD_PROCESS:
            return PwrKind::Process;
        default:
            return PwrKind::Thread;
    }
}

// The size of four counted texts, their length fields included; none is shorter than its NUL.
std::size_t systemTextsSize(std::string_view bytes) {
    std::size_t at = SYSTEM_TEXTS_AT;
    for (int i = 0; i < 4; ++i) at += sizeof(std::uint16_t) + fieldAt<std::uint16_t>(bytes, at);
    return at;
}

// The size that the fields of a record say; `bytes` holds at least its fixed part.
std::size_t expectedSize(PwrKind kind, std::string_view bytes) {
    const std::size_t fixed = infoOf(kind).fixedSize;
    const auto length = [bytes](std::size_t at) -> std::size_t { return fieldAt<std::uint16_t>(bytes, at); };
    const auto lengths = [&length](std::size_t at, std::size_t count) {
        std::size_t sum = 0;
        for (; count > 0; --count, at += sizeof(std::uint16_t)) sum += length(at);
        return sum;
    };
    switch (kind) {
        case PwrKind::CollectionInfo:
            return fixed + fieldAt<std::uint8_t>(bytes, COLLECTION_NAME_LENGTH_AT);
        case PwrKind::SystemInfo:
            return systemTextsSize(bytes);
        case PwrKind::HardwareConfiguration:
            return fixed + std::size_t{4} * fieldAt<std::uint32_t>(bytes, HARDWARE_THREAD_COUNT_AT);
        case PwrKind::Info:
            return fixed + lengths(INFO_LENGTHS_AT, 4);
        case PwrKind::Metric:
            return fixed + lengths(METRIC_LENGTHS_AT, 2);
        case PwrKind::Sample:
            return fixed + ATTRIBUTE_SIZE * length(SAMPLE_COUNT_AT);
        case PwrKind::Process:
            return bytes.size();
        case PwrKind::KernelWakelock:
            return fixed - 1 + length(KERNEL_WAKELOCK_NAME_AT);
        case PwrKind::UserWakelock:
            return fixed - 1 + length(USER_WAKELOCK_NAME_AT);
        case PwrKind::Package:
            return fixed - 1 + length(PACKAGE_NAME_AT);
        default:
            return fixed;
    }
}

std::string hexadecimal(std::uint32_t value) {
    static const char digits[] = "0123456789abcdef";
    std::string text = "0x";
    for (int shift = 28; shift >= 0; shift -= 4) text += digits[value >> shift & 15];
    return text;
}

std::string faultOfLength(PwrKind kind, std::string_view bytes) {
    const std::size_t fixed = infoOf(kind).fixedSize;
    const std::size_t expected = bytes.size() < fixed ? fixed : expectedSize(kind, bytes);
    if (bytes.size() == expected) return std::string();
    return withArticle(kind) + " has " + std::to_string(bytes.size()) + " bytes instead of " +
           (bytes.size() < fixed ? "at least " : "") + std::to_string(expected);
}

}  // namespace

const char* nameOf(PwrKind kind) {
    return infoOf(kind).name;
}

std::string withArticle(PwrKind kind) {
    return std::string(kind == PwrKind::Info ? "an " : "a ") + nameOf(kind) + " record";
}

std::optional<PwrRecord> nextPwrRecord(ByteReader& file, std::string& fault) {
    const std::uint64_t offset = file.offset();
    const auto stop = [&fault](const std::string& what) {
        fault = what;
        return std::nullopt;
    };
    ByteReader ahead = file;
    const auto head = ahead.get<std::uint32_t>();
    if (ahead.failed()) return stop("the file ends inside the head of a record");
    const Frame* const frame = findFrame(head);
    if (frame == nullptr) return stop("unknown record head " + hexadecimal(head));

    std::size_t size = frame->fixedSize;
    if (size == 0) {
        ahead = file;
        ahead.getBytes(frame->lengthAt);
        size = frame->lengthAt + ahead.get<std::uint16_t>();
        if (ahead.failed()) return stop("the file ends inside the head of a record");
    }
    const std::string_view bytes = file.getBytes(size);
    if (file.failed()) return stop("the file ends inside a record of " + std::to_string(size) + " bytes");
    const std::optional<PwrKind> kind = kindOf(head, bytes);
    if (!kind) return stop("unknown record type under the head " + hexadecimal(head));
    fault = faultOfLength(*kind, bytes);
    if (!fault.empty()) return std::nullopt;
    return PwrRecord{offset, *kind, bytes};
}

std::string_view getCountedText(ByteReader& fields) {
    std::string_view text = fields.getBytes(fields.get<std::uint16_t>());
    if (text.ends_with('\0')) text.remove_suffix(1);
    return text;
}

}  // namespace host::inspect
