#include "host/importers/input_kinds.h"

#include <algorithm>

#include "host/importers/kernel/ftrace_importer.h"
#include "host/importers/kernel/sadf_importer.h"
#include "host/importers/kernel/tracedat_importer.h"
#include "host/importers/kernel/turbostat_importer.h"
#include "host/importers/pwr_importer.h"
#include "host/importers/ztbin_importer.h"
#include "host/importers/ztjson_importer.h"

namespace host::importers {

namespace {

// Enough to see the first key of an object that is written with blanks and line ends.
constexpr std::size_t MOST_TO_SNIFF = 4096;

std::string_view withoutBlanks(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    return first == std::string_view::npos ? std::string_view() : text.substr(first);
}

// A stream is recognised by the first line that says something; what is no other kind and looks like text is
// taken for one that is wrong somewhere.
Sniff sniffStream(std::string_view head, bool isWhole) {
    const std::string_view text = withoutBlanks(head);
    if (text.empty()) return isWhole ? Sniff::Yes : Sniff::NeedsMore;
    const auto first = static_cast<unsigned char>(text.front());
    return first >= 0x20 && first < 0x7F ? Sniff::Yes : Sniff::No;
}

constexpr InputKind KINDS[] = {
    {"ndjson", ".ndjson", "A message stream: one JSON object per line", sniffStream, nullptr, nullptr,
     nullptr},
    {"ztbin", ".ztbin", "The binary trace, also the parts of a continuous run", sniffZtbin, makeZtbinImporter,
     placeZtbin,
     "not in a .ztbin file: times of day, the clock's frequency, the operating system's version, texts and "
     "states "
     "as values, high ends of ranges, entities of deltas, tables and notes (see docs/inputs.md)"},
    {"ztjson", ".ztjson", "The trace in JSON: the document of a whole run, or the parts of a continuous one",
     sniffZtjson, makeZtjsonImporter, placeZtjson,
     "not in a .ztjson file: times of day, the clock's frequency, metric groups of a document, entities of a "
     "continuous run's deltas, tables and notes (see docs/inputs.md)"},
    {"pwr", ".pwr", "The import trace", sniffPwr, makePwrImporter, nullptr,
     "not in a .pwr file: names of attributes, groups and legends of metrics, quantities of transitions, "
     "metrics of wakelocks, frequencies but those of clock and processor, tables and notes (see "
     "docs/inputs.md)"},
    {"ftrace", ".txt", "A kernel trace in text, as the kernel, reports of recordings and profiles show it",
     sniffFtrace, makeFtraceImporter, nullptr, nullptr},
    {"tracedat", ".dat", "A kernel trace as trace-cmd records it, of versions 6 and 7", sniffTracedat,
     makeTracedatImporter, nullptr, nullptr},
    {"turbostat", ".txt", "The table that turbostat prints", sniffTurbostat, makeTurbostatImporter, nullptr,
     nullptr},
    {"sadf", ".json", "What sadf -j prints", sniffSadf, makeSadfImporter, nullptr, nullptr},
};

}  // namespace

std::span<const InputKind> inputKinds() {
    return KINDS;
}

const InputKind* findKind(std::string_view name) {
    const auto* const found = std::find_if(std::begin(KINDS), std::end(KINDS),
                                           [&](const InputKind& kind) { return name == kind.name; });
    return found != std::end(KINDS) ? found : nullptr;
}

const InputKind* recogniseKind(BufferedBytes& content) {
    for (std::size_t size = 1; size <= MOST_TO_SNIFF;) {
        const std::string_view head = content.peek(size);
        const bool isWhole = head.size() < size;
        bool needsMore = false;
        // The stream comes last: it takes everything that looks like text.
        for (const InputKind* kind = std::end(KINDS); kind != std::begin(KINDS);) {
            --kind;
            const Sniff sniff = kind->sniff(head, isWhole);
            if (sniff == Sniff::Yes && !needsMore) return kind;
            needsMore = needsMore || sniff == Sniff::NeedsMore;
        }
        if (!needsMore || isWhole) break;
        size = head.size() + 1;
    }
    return nullptr;
}

bool beginsLikeStream(BufferedBytes& content) {
    // No more than needed: the rest may not have been written yet.
    for (std::size_t size = 1; size <= MOST_TO_SNIFF;) {
        const std::string_view head = content.peek(size);
        const std::string_view text = withoutBlanks(head);
        if (!text.empty()) return text.front() == '{' || text.front() == '#';
        if (head.size() < size) break;
        size = head.size() + 1;
    }
    return true;
}

std::string kindNames() {
    std::string names;
    for (const InputKind& kind : KINDS) names += (names.empty() ? "" : ", ") + std::string(kind.name);
    return names;
}

}  // namespace host::importers
