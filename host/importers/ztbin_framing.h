#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "host/importers/buffered_bytes.h"
#include "pwr/bin/records.h"

namespace host::importers {

// Looks at the next record. Returns true with `type` and `payload`, valid until the content is moved on;
// false at the end, and with `fault` set where a record can't be right. The caller skips the record's bytes.
bool peekZtbinRecord(BufferedBytes& content, pwr::bin::MsgType& type, std::string_view& payload,
                     std::string& fault);

inline void skipZtbinRecord(BufferedBytes& content, std::string_view payload) {
    content.skip(pwr::bin::HEAD_LENGTH + payload.size());
}

}  // namespace host::importers
