#pragma once

#include "host/model/value.h"
#include "host/stream/references.h"

namespace host::stream {

// Reads a value in its text form: null, or an object with one member that names the kind: "i", "u" or "r"
// with a number or a list of low and high, "h" with the id of a handle or null, "s" with a text.
void readValue(const Token& token, const References& references, model::Value& out);

}  // namespace host::stream
