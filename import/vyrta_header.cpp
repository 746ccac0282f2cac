// The records that open the file, from the system message.
#include <cstring>
#include <limits>

#include "import/vyrta_log.h"
#include "import/vyrtawriter_plugin.h"
#include "plugins/memory_guard.h"
#include "plugins/packing.h"
#include "pwr/messages.h"
#include "pwr/system_metadata.h"
#include "pwr/utilities.h"

using namespace vyrta;

namespace {

const char COLLECTION_NAME[] = "power";

bool isInArchitecture32(const std::string& osType) {
    return osType == "i386" || osType == "i686";
}

// The length up to the first NUL.
std::size_t textLength(const std::string& text) {
    return ::strnlen(text.data(), text.size());
}

// u16 length with the NUL, then the bytes with the NUL.
char* putCounted(char* out, const std::string& text) {
    const std::size_t length = textLength(text);
    out = packing::put(out, static_cast<std::uint16_t>(length + 1));
    return packing::putZeros(packing::putBytes(out, text.data(), length), 1);
}

// Head, length (left 0 for now), type, and the 1 with which every body starts.
char* putUntimedHead(char* out, std::uint16_t type) {
    out = packing::put(out, HEAD_UNTIMED);
    out = packing::put<std::uint16_t>(out, 0);
    out = packing::put(out, type);
    return packing::put<std::uint32_t>(out, 1);
}

// Fills the length field of a record that ends at `end`. Returns false when that is not the size that was
// made room for, or when the length does not fit its field.
bool completeLength(std::vector<char>& record, const char* end) {
    const std::size_t length = record.size() - UNTIMED_LENGTH_AT;
    if (end != record.data() + record.size()) return false;
    if (length > std::numeric_limits<std::uint16_t>::max()) return false;
    packing::put(record.data() + UNTIMED_LENGTH_AT, static_cast<std::uint16_t>(length));
    return true;
}

// Writes a record that ends at `end`, or says why not with `failure`.
int writeSized(VyrtaWriter& writer, unsigned long id, std::vector<char>& record, const char* end,
               const char* failure) {
    if (!completeLength(record, end)) return VYRTA_FAIL("%s", failure);
    return writer.writeRecord(id, record.data(), static_cast<unsigned int>(record.size()));
}

int writeHeader(VyrtaWriter& writer) {
    constexpr const char* HARDWARE = "Failed to write hardware configuration record.\n";
    const struct {
        int (VyrtaWriter::*write)();
        const char* failure;
    } steps[] = {
        {&VyrtaWriter::writeMagicRecord, "Failed to write magic record.\n"},
        {&VyrtaWriter::writeColInfoRecord, "Failed to write collection info record.\n"},
        {&VyrtaWriter::writeSysInfoRecord, "Failed to write system info record.\n"},
        {&VyrtaWriter::writeHardCfgRecord, HARDWARE},
        {&VyrtaWriter::writeHeadMarkerRecord, HARDWARE},
        {&VyrtaWriter::writePowerThreshold, HARDWARE},
        {&VyrtaWriter::writeMetricTypeMetadata, "Failed to write metric class type metadata records.\n"},
    };
    for (const auto& step : steps)
        if ((writer.*step.write)() != 0) return VYRTA_FAIL("%s", step.failure);
    return 0;
}

}  // namespace

std::int32_t VyrtaWriter::writeMessage(const pwr::SystemMessage& message) {
    m_systemStoreId = message.m_id;
    const auto begin = [&] {
        m_info = std::make_unique<VyrtaCollectionInfo>();
        readCollectionInfo(*message.m_metadata, *m_info);
        return writeHeader(*this);
    };
    if (guardMemory(VYRTA_OPTION_NAME, 1, begin) == 0) return 0;
    // No header, no result.
    m_impl->m_valid = false;
    return 1;
}

// Collection info, 29 bytes and the name:
//
//   Offset  Width    Value
//   0       u32      0x02400000
//   4       u16      name length plus 25
//   6       u16      44
//   8       u32      1
//   12      u16      major version
//   14      u16      minor version
//   16      u32      update version
//   20      5 bytes  0
//   25      u8       8
//   26      2 bytes  0
//   28      u8       name length
//   29      bytes    name, without NUL
int VyrtaWriter::writeColInfoRecord() {
    const std::size_t nameLength = sizeof COLLECTION_NAME - 1;
    std::vector<char> record(29 + nameLength);
    char* out = putUntimedHead(record.data(), TYPE_COLLECTION_INFO);
    out = packing::put(out, m_info->versionMajor);
    out = packing::put(out, m_info->versionMinor);
    out = packing::put<std::uint32_t>(out, m_info->versionUpdate);
    out = packing::putZeros(out, 5);
    out = packing::put<std::uint8_t>(out, 8);
    out = packing::putZeros(out, 2);
    out = packing::put(out, static_cast<std::uint8_t>(nameLength));
    out = packing::putBytes(out, COLLECTION_NAME, nameLength);
    return writeSized(*this, m_systemStoreId, record, out, "Collection info record size mismatch.\n");
}

// System info, 34 bytes and the names:
//
//   Offset  Width    Value
//   0       u32      0x02400000
//   4       u16      sum of the names' lengths plus 30
//   6       u16      45
//   8       u32      1
//   12      u16      operating system code
//   14      4 u16    operating system version
//   22      counted  host name
//           counted  platform name
//           counted  operating system name
//           counted  empty
//
// A counted string is u16 length with the NUL, then the bytes with the NUL.
int VyrtaWriter::writeSysInfoRecord() {
    const std::size_t namesLength =
        textLength(m_info->hostName) + textLength(m_info->platformName) + textLength(m_info->osName);
    std::vector<char> record(34 + namesLength);
    char* out = putUntimedHead(record.data(), TYPE_SYSTEM_INFO);
    out = packing::put(out, static_cast<std::uint16_t>(m_info->osCode));
    for (const std::uint16_t number : m_info->osVersion) out = packing::put(out, number);
    out = putCounted(out, m_info->hostName);
    out = putCounted(out, m_info->platformName);
    out = putCounted(out, m_info->osName);
    out = putCounted(out, std::string());
    return writeSized(*this, m_systemStoreId, record, out, "System info record size mismatch.\n");
}

// Hardware configuration, 44 bytes and 4 for each thread:
//
//   Offset  Width    Value
//   0       u32      0x02400000
//   4       u16      4 times thread count plus 40
//   6       u16      18
//   8       u32      1
//   12      u64      TSC frequency, Hz
//   20      u64      CPU frequency for the visualiser: the TSC frequency again
//   28      u64      highest address
//   36      u8       pointer width, bits
//   37      3 u8     CPU identification
//   40      u32      thread count
//   44      4 bytes  for each thread: 0, package id, core id, thread index on the core
int VyrtaWriter::writeHardCfgRecord() {
    const unsigned long tsc = m_info->tscFrequency;
    const unsigned long cpu = m_info->cpuFrequency;
    if (tsc == 0) {
        VYRTA_WARNING("Invalid TSC clock frequency: %luHz\n", tsc);
        VYRTA_INFO("CPU frequency: %luHz\n", cpu);
        return 1;
    }
    if (cpu == 0) {
        VYRTA_WARNING("Invalid CPU frequency: %luHz\n", cpu);
        VYRTA_INFO("TSC clock frequency: %luHz\n", tsc);
        return 1;
    }
    VYRTA_DEBUG("TSC frequency: %luHz, CPU frequency: %luHz, Vyrta CPU frequency: %luHz\n", tsc, cpu, tsc);

    const bool is32 = isInArchitecture32(m_info->osType);
    const std::size_t threadsSize = m_info->threadCount * sizeof(VyrtaThreadEntry);
    std::vector<char> record(44 + threadsSize);
    char* out = putUntimedHead(record.data(), TYPE_HARDWARE_CONFIGURATION);
    out = packing::put<std::uint64_t>(out, tsc);
    out = packing::put<std::uint64_t>(out, tsc);
    out = packing::put<std::uint64_t>(out, is32 ? 0x80000000 : ~std::uint64_t{0});
    out = packing::put<std::uint8_t>(out, is32 ? 32 : 64);
    for (const std::uint32_t number : m_info->cpuId)
        out = packing::put(out, static_cast<std::uint8_t>(number));
    out = packing::put(out, m_info->threadCount);
    if (m_info->threads != nullptr) out = packing::putBytes(out, m_info->threads.get(), threadsSize);
    return writeSized(*this, m_systemStoreId, record, out, "Hardware configuration record size mismatch.\n");
}

// Head marker:
//
//   Offset  Width  Value
//   0       u32    0x22000020
//   4       u32    0x02000020
//   8       u8     2
//   9       u64    start of the collection, TSC
//   17      u64    start of the collection, clock value divided by 100
int VyrtaWriter::writeHeadMarkerRecord() {
    char record[HEAD_MARKER_SIZE];
    char* out = packing::put(record, HEAD_MARKER);
    out = packing::put<std::uint32_t>(out, 0x02000020);
    out = packing::put<std::uint8_t>(out, 2);
    out = packing::put(out, m_info->startTsc);
    packing::put(out, m_info->startTime);
    return writeRecord(m_systemStoreId, record, sizeof record);
}

// Power threshold:
//
//   Offset  Width     Value
//   0       u32       0x02400000
//   4       u16       62
//   6       u16       63
//   8       u32       1
//   12      u16       12
//   14      48 bytes  0
//   62      u32       CPU frequency, MHz
int VyrtaWriter::writePowerThreshold() {
    char record[POWER_THRESHOLD_SIZE];
    char* out = putUntimedHead(record, TYPE_POWER_THRESHOLD);
    out = packing::put<std::uint16_t>(out, 12);
    out = packing::putZeros(out, 48);
    packing::put(out, static_cast<std::uint32_t>(m_info->cpuFrequencyMhz));
    packing::put<std::uint16_t>(record + UNTIMED_LENGTH_AT, sizeof record - UNTIMED_LENGTH_AT);
    return writeRecord(m_systemStoreId, record, sizeof record);
}
