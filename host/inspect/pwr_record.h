// Framing of .pwr records; docs/formats/pwr.md describes them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/inspect/byte_reader.h"

namespace host::inspect {

enum class PwrKind {
    Magic,
    CollectionInfo,
    SystemInfo,
    HardwareConfiguration,
    HeadMarker,
    PowerThreshold,
    Info,
    Metric,
    Sample,
    Process,
    Thread,
    KernelWakelock,
    UserWakelock,
    Package,
};

// The name of a kind, for records and messages.
const char* nameOf(PwrKind kind);

// "a Sample record", "an Info record".
std::string withArticle(PwrKind kind);

// A record whose length is what its fields say, so that reading them in order never fails.
struct PwrRecord {
    std::uint64_t offset;
    PwrKind kind;
    std::string_view bytes;

    // Reads the fields from offset `at` of the record on.
    ByteReader fieldsFrom(std::size_t at) const { return ByteReader(bytes.substr(at), offset + at); }
};

// Takes the next record. Returns nothing when its head, type or length cannot be right, and says so in
// `fault`: where the next one begins is then unknown.
std::optional<PwrRecord> nextPwrRecord(ByteReader& file, std::string& fault);

// Reads a text of a length of u16, its NUL included, and drops the NUL.
std::string_view getCountedText(ByteReader& fields);

}  // namespace host::inspect
