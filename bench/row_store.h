// The row store of the over-time text writers alone.
#pragma once

#include "bench/floors.h"
#include "bench/measure.h"

namespace bench {

// Pushes one cell per element, whose text is ready beforehand, in rows of 16 columns, and lays the table out.
void runRowStore(const PlainElements& elements, Cost& cost);

}  // namespace bench
