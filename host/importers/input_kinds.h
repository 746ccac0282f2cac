// The kinds of input that a message stream can be made of.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "host/importers/importer.h"

namespace host::importers {

// What the first bytes of a content say.
enum class Sniff { No, Yes, NeedsMore };

struct InputKind {
    const char* name;  // as in --from
    const char* extension;
    const char* description;

    // Looks at the first bytes. `isWhole`: there are no more than these.
    Sniff (*sniff)(std::string_view head, bool isWhole);

    // Makes the importer. Null: the content is lines of a message stream already.
    std::unique_ptr<Importer> (*make)(const ImportTarget& target);

    // Reads through a part of a run and gives its place among the others. Null: a run of this kind is one
    // file. Nothing if the part is damaged so early that it has no place.
    std::optional<PartKey> (*place)(Input& part);

    // What the format does not hold, for the user; null: it holds everything.
    const char* lost;
};

std::span<const InputKind> inputKinds();

// The kind of this name; null if there is none.
const InputKind* findKind(std::string_view name);

// The kind of a content, by its first bytes; null if it is none that is known. Text that is of no other kind
// counts as a message stream.
const InputKind* recogniseKind(BufferedBytes& content);

// Whether a content that counts as a message stream begins like one, with an object or a comment, or is
// blank.
bool beginsLikeStream(BufferedBytes& content);

// The names of all kinds, with commas between.
std::string kindNames();

}  // namespace host::importers
