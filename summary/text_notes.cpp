#include "summary/text_notes.h"

#include <cstdint>

namespace {

constexpr std::int32_t BEFORE_TABLE = 0;
constexpr std::int32_t BEHIND_TABLE = 1;

void printParagraph(std::FILE* output, const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), output);
    std::fwrite("\n\n", 1, 2, output);
}

void printNotes(std::FILE* output, const pwr::TextNotes* notes, std::int32_t key) {
    if (notes == nullptr) return;
    const auto found = notes->find(key);
    if (found == notes->end()) return;
    for (const std::string& note : found->second) printParagraph(output, note);
}

}  // namespace

void processPreTableTextNotes(std::FILE* output, NotesMap::const_iterator notes) {
    printNotes(output, notes->second, BEFORE_TABLE);
}

void processPostTableTextNotes(std::FILE* output, NotesMap::const_iterator notes) {
    printNotes(output, notes->second, BEHIND_TABLE);
}

void processPreMetricTextNotes(std::FILE* output, NotesMap::const_iterator notes) {
    processPreTableTextNotes(output, notes);
}

void processPostMetricTextNotes(std::FILE* output, NotesMap::const_iterator notes) {
    processPostTableTextNotes(output, notes);
}

void processMetricContainerHeader(std::FILE* output, const std::string& header) {
    printParagraph(output, header);
}

unsigned long combineIds(unsigned int metricContainerId, unsigned int tableId) {
    return static_cast<unsigned long>(metricContainerId) << 32 | tableId;
}

unsigned int extractMetricIdFromCombinedId(unsigned long combinedId) {
    return static_cast<unsigned int>(combinedId >> 32);
}

unsigned int extractTableIdFromCombinedId(unsigned long combinedId) {
    return static_cast<unsigned int>(combinedId);
}
