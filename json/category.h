// One category of a JSON document: all series of one metric name.
#pragma once

#include <vector>

#include "json/document_sink.h"
#include "json/series.h"

// Writes the category as a member of the object that is open. Type, units and the presence of states are
// those of the first series. The states of all series are sorted together, and the series renumbered to that
// order. Stops early once the sink has failed. `series` is not empty.
void writeCategory(DocumentSink& sink, const std::vector<Series*>& series);
