// The order of the states of a category.
#pragma once

#include <string>
#include <vector>

// True if strtol reads the text in base 10 up to its end: also an empty text, leading blanks and a sign.
bool isNumeric(const std::string& text);

// Sorts the names of a category's states: by number, if one of them is a number; else by the number after
// the prefix that they share. Names without a shared prefix stay as they are.
//
// What follows from the way in which the prefix is looked for is part of the document's format:
// - Prefixes are tried up to one character short of the first name; if all of those are shared, the names are
//   compared beyond the whole length of the first name. "C3", "C10", "C2" stay as they are.
// - A name that is a proper prefix of one before it counts as lacking the prefix (see Trie). "C1E", "C1" and
//   "C10", "C2", "C1" stay as they are.
// - The comparison after the prefix is no strict weak order when only some of the rests are numbers. Up to 16
//   names go through std::sort, whose result then is kept; more go through std::stable_sort, which stays
//   inside the list whatever the comparison says.
void sortStates(std::vector<std::string>& states);
