// Decodes any bytes as a .pwr file. Every line must be an object in well-formed UTF-8 JSON, damage is
// reported once, and the checks alone find the same.
#include <rapidjson/document.h>

#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "host/inspect/damage_report.h"
#include "host/inspect/json_line.h"
#include "host/inspect/pwr_decoder.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace host::inspect;
    const std::string bytes(data, data + size);
    std::stringstream out;
    std::ostringstream err;
    JsonLine line(&out, "name");
    DamageReport report("name", err);
    decodePwr(bytes, line, report);
    for (std::string text; std::getline(out, text);) {
        rapidjson::Document document;
        document.Parse<rapidjson::kParseValidateEncodingFlag>(text.data(), text.size());
        if (!document.IsObject()) std::abort();
    }

    std::ostringstream checkedErr;
    JsonLine silent(nullptr);
    DamageReport checked("name", checkedErr);
    decodePwr(bytes, silent, checked);
    if (checked.count() > 1 || checkedErr.str() != err.str()) std::abort();
    return 0;
}
