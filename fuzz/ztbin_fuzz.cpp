// Decodes any bytes as a .ztbin file, twice: the second time as a further file of the same run. Every line
// must be an object in well-formed UTF-8 JSON.
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "host/inspect/damage_report.h"
#include "host/inspect/json_line.h"
#include "host/inspect/ztbin_decoder.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace host::inspect;
    const std::string bytes(data, data + size);
    std::stringstream out;
    std::ostringstream err;
    JsonLine line(&out, "name");
    DamageReport report("name", err);
    ZtbinDecoder decoder;
    ZtbinDecoder::isRecognised(bytes);
    decoder.decode(bytes, line, report);
    decoder.decode(bytes, line, report);
    for (std::string text; std::getline(out, text);) {
        rapidjson::MemoryStream stream(text.data(), text.size());
        rapidjson::BaseReaderHandler<> handler;
        if (!rapidjson::Reader().Parse<rapidjson::kParseValidateEncodingFlag>(stream, handler)) std::abort();
    }
    return 0;
}
