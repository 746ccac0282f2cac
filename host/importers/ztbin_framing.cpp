#include "host/importers/ztbin_framing.h"

#include "host/inspect/ztbin_record.h"
#include "plugins/packing.h"

namespace host::importers {

namespace bin = pwr::bin;
using bin::MsgType;

bool peekZtbinRecord(BufferedBytes& content, MsgType& type, std::string_view& payload, std::string& fault) {
    std::string_view bytes = content.peek(bin::HEAD_LENGTH);
    if (bytes.empty()) return false;
    if (bytes.size() < bin::HEAD_LENGTH) {
        fault = "the file ends inside the head of a record";
        return false;
    }
    const std::size_t length = packing::get<std::uint16_t>(bytes.data());
    type = packing::get<MsgType>(bytes.data() + bin::HEAD_TYPE);
    if (type > MsgType::MetricData) {
        fault = "unknown record type " + std::to_string(static_cast<unsigned>(type));
        return false;
    }
    bytes = content.peek(bin::HEAD_LENGTH + length);
    if (bytes.size() < bin::HEAD_LENGTH + length) {
        fault = std::string("the file ends inside a ") + inspect::nameOf(type) + " record";
        return false;
    }
    payload = bytes.substr(bin::HEAD_LENGTH, length);
    fault = inspect::faultOfLength(type, payload);
    return fault.empty();
}

}  // namespace host::importers
