// The emission of the JSON document alone.
#pragma once

#include "bench/floors.h"
#include "bench/measure.h"

namespace bench {

// Puts the elements into a series beforehand, and writes the document with its points to a file.
void runJsonEmission(const PlainElements& elements, Cost& cost);

}  // namespace bench
