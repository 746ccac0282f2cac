#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/inspect/byte_reader.h"
#include "host/inspect/damage_report.h"
#include "host/inspect/json_line.h"
#include "pwr/bin/records.h"

namespace host::inspect {

// Decodes .ztbin files; docs/formats/ztbin.md describes them.
//
// The files of a continuous run share their tables: what a file defines holds in the files that are decoded
// after it, until one begins a run anew, which shows in its first string having index 1.
class ZtbinDecoder {
public:
    // True if `bytes` begins with a sound record of a kind that can stand first in a file.
    static bool isRecognised(std::string_view bytes);

    // Prints the records of a file through `line`, an object each, with names in place of indices (null for
    // index 0 and for one that is not defined), and adds to `report` whatever is wrong. A record whose length
    // or type cannot be right ends the file, since nothing says where the next one begins.
    void decode(std::string_view bytes, JsonLine& line, DamageReport& report);

private:
    struct Descriptor {
        std::string state;
        std::string name;
    };

    // A record as it is framed.
    struct Record {
        std::uint64_t offset;
        pwr::bin::MsgType type;
        ByteReader payload;
    };

    // What to say of an index that may be 0, which refers to nothing.
    enum class Need { Required, Optional };

    std::optional<Record> nextRecord_i(ByteReader& file);
    void checkPlace_i(const Record& record);
    void decodeRecord_i(ByteReader payload, pwr::bin::MsgType type);
    void decodeString_i(ByteReader& payload);
    void decodeSystem_i(ByteReader& payload);
    void decodeDescriptor_i(ByteReader& payload);
    void decodeMetric_i(ByteReader& payload);
    void decodeData_i(ByteReader& payload);

    // Each reads an index and prints what it refers to. The first gives the string, null if there is none.
    const std::string* nameValue_i(ByteReader& payload, Need need);
    std::string nameField_i(ByteReader& payload, const char* field, Need need = Need::Required);
    void descriptorField_i(ByteReader& payload);

    // The tables of a run.
    std::map<pwr::bin::Index, std::string> m_strings;
    std::map<pwr::bin::Index, Descriptor> m_descriptors;
    std::map<std::uint32_t, std::string> m_metricNames;

    // The file that is being decoded.
    JsonLine* m_line = nullptr;
    DamageReport* m_report = nullptr;
    pwr::bin::MsgType m_lastType{};
    bool m_hasSystemMeta = false;
};

}  // namespace host::inspect
