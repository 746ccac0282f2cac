// The JSON document of a whole run.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "json/document_sink.h"
#include "json/series.h"
#include "pwr/system_metadata.h"

// What the document says about the machine and the collection.
struct DocumentHead {
    const pwr::SystemMetadata& metadata;
    std::uint64_t collectionStart;  // TSC ticks
    const std::string& zentraceVersion;
    const std::string& driverVersion;
    const std::string& commandLine;
};

// Writes the document, without the newline after it, into `sink`. Categories and series stand in the order
// of first appearance in `series`, whose states are numbered anew in each category.
void writeDocument(DocumentSink& sink, const DocumentHead& head,
                   const std::vector<std::unique_ptr<Series>>& series);
