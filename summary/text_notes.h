// The free text around the tables of the summary report, and the keys of its tables.
#pragma once

#include <cstdio>
#include <string>
#include <unordered_map>

#include "pwr/messages.h"

// Notes by table id or by metric container id. The notes are the host's and may be null.
using NotesMap = std::unordered_map<unsigned int, const pwr::TextNotes*>;

// Print the notes that belong before (or after) a table or a metric container, each with an empty line
// after it. Null notes and notes without such a part print nothing.
void processPreTableTextNotes(std::FILE* output, NotesMap::const_iterator notes);
void processPostTableTextNotes(std::FILE* output, NotesMap::const_iterator notes);
void processPreMetricTextNotes(std::FILE* output, NotesMap::const_iterator notes);
void processPostMetricTextNotes(std::FILE* output, NotesMap::const_iterator notes);

// Prints the header of a metric container with an empty line after it.
void processMetricContainerHeader(std::FILE* output, const std::string& header);

// A table's combined id holds its metric container id in the high and its table id in the low 32 bits, so a
// container's tables are neighbours in a map.
unsigned long combineIds(unsigned int metricContainerId, unsigned int tableId);
unsigned int extractMetricIdFromCombinedId(unsigned long combinedId);
unsigned int extractTableIdFromCombinedId(unsigned long combinedId);

// The reserved combined ids of the report's two text sections.
inline constexpr unsigned long HEADER_TEXT_KEY = ~0UL;
inline constexpr unsigned long TEXT_KEY = ~0UL - 1;
