#pragma once

#include <string_view>

#include "host/inspect/damage_report.h"
#include "host/inspect/json_line.h"
#include "host/inspect/pwr_checker.h"
#include "host/inspect/pwr_lives.h"
#include "host/inspect/pwr_names.h"
#include "host/inspect/pwr_record.h"

namespace host::inspect {

// Prints the records of a .pwr file through `line`, an object each, with the names of ids beside them (null
// for one that is not defined), and adds the first thing that is wrong to `report`. A record whose head, type
// or length cannot be right ends the file. docs/formats/pwr.md describes the records and their order.
void decodePwr(std::string_view bytes, JsonLine& line, DamageReport& report);

// Decodes one file.
class PwrDecoder {
public:
    PwrDecoder(std::string_view bytes, JsonLine& line, DamageReport& report)
        : m_bytes(bytes), m_line(line), m_checker(report), m_lives(bytes) {}

    void decode();

private:
    void showRecord_i(const PwrRecord& record);
    void showCollectionInfo_i(const PwrRecord& record);
    void showSystemInfo_i(const PwrRecord& record);
    void showHardware_i(const PwrRecord& record);
    void showHeadMarker_i(const PwrRecord& record);
    void showInfo_i(const PwrRecord& record);
    void showMetric_i(const PwrRecord& record);
    void showSample_i(const PwrRecord& record);
    void showProcess_i(const PwrRecord& record);
    void showThread_i(const PwrRecord& record);
    void showWakelock_i(const PwrRecord& record);
    void showPackage_i(const PwrRecord& record);

    // Prints an id with its name, or null for NO_ID, and checks that it is defined.
    void idField_i(const PwrRecord& record, const char* field, std::string_view kind, std::uint32_t id);
    void nameField_i(const std::string* name);
    void checkDefined_i(const PwrRecord& record, std::string_view kind, std::uint64_t id);
    void checkEndsInNul_i(const PwrRecord& record);
    void printAttribute_i(const PwrRecord& record, std::uint32_t type, std::uint64_t value, std::uint64_t tsc,
                          std::uint16_t version);
    const std::string* attributeName_i(std::string_view kind, std::uint64_t id, std::uint64_t tsc) const;
    // `previous` is the type of the attribute in front, or NO_ATTRIBUTE.
    void checkAttribute_i(const PwrRecord& record, std::uint32_t previous, std::uint32_t type,
                          std::uint64_t value, std::uint64_t tsc);

    std::string_view m_bytes;
    JsonLine& m_line;
    PwrChecker m_checker;
    PwrLives m_lives;
    PwrNames m_names;
};

}  // namespace host::inspect
