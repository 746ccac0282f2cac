// JSON results as input: the document of a whole run, and the parts of a continuous one.
#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "host/importers/importer.h"
#include "host/importers/input_kinds.h"

namespace host::importers {

Sniff sniffZtjson(std::string_view head, bool isWhole);
std::optional<PartKey> placeZtjson(Input& part);
std::unique_ptr<Importer> makeZtjsonImporter(const ImportTarget& target);

}  // namespace host::importers
