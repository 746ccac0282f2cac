#pragma once

#include "host/model/metric.h"
#include "host/stream/references.h"

namespace host::stream {

// Reads one element of a sample into `element`, which is as new. This is the hot path of a stream.
void readElement(const Token& token, const References& references, model::Element& element);

}  // namespace host::stream
