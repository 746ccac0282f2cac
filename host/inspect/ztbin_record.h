// Framing of .ztbin records; docs/formats/ztbin.md describes them.
#pragma once

#include <string>
#include <string_view>

#include "pwr/bin/records.h"

namespace host::inspect {

// The name of a type up to MetricData.
const char* nameOf(pwr::bin::MsgType type);

// Says what is wrong with the length of a payload, as its fields give it; empty if nothing is.
std::string faultOfLength(pwr::bin::MsgType type, std::string_view payload);

}  // namespace host::inspect
